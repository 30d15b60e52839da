#include "core/ContactPlg.h"

#include "platform/LastError.h"
#include "trace/MemoryDebugging.h"

void* CContactPlg::CContactEnumerator::operator new(std::size_t size) noexcept
{
    return CMemoryDebugging::TraceAllocate(size, "NoFileInfo", 0);
}

void CContactPlg::CContactEnumerator::operator delete(void* memory) noexcept
{
    CMemoryDebugging::TraceDeallocate(memory);
}

void* CContactPlg::operator new(std::size_t size) noexcept
{
    return CMemoryDebugging::TraceAllocate(size, "NoFileInfo", 0);
}

void CContactPlg::operator delete(void* memory) noexcept
{
    CMemoryDebugging::TraceDeallocate(memory);
}

CContact* CContactPlg::CreateContact(CContact* /*contact*/)
{
    return nullptr;
}

bool CContactPlg::DeleteContact(ContactMgr::CContactId /*id*/)
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return false;
}

bool CContactPlg::ChangesSince(FILETIME /*since*/, FILETIME* /*version*/,
                               ContactMgr::CContactIdList* /*deleted*/,
                               ContactMgr::CContactIdList* /*changed*/,
                               ContactMgr::CContactIdList* /*created*/)
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return false;
}
