#include "core/ContactPlg.h"

#include "platform/Failure.h"

CContact* CContactPlg::CreateContact(CContact* /*contact*/)
{
    return nullptr;
}

bool CContactPlg::DeleteContact(ContactMgr::CContactId /*id*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CContactPlg::ChangesSince(FILETIME /*since*/, FILETIME* /*version*/,
                               ContactMgr::CContactIdList* /*deleted*/,
                               ContactMgr::CContactIdList* /*changed*/,
                               ContactMgr::CContactIdList* /*created*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}
