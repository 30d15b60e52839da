#include "core/MailFolderContactEnumerator.h"

#include "platform/LastError.h"

CMailFolderContactEnumerator::~CMailFolderContactEnumerator()
{
    const CKeepLastError keep;
    CMailFolderContactEnumerator::Finish();
}

bool CMailFolderContactEnumerator::StartWalk(const FILETIME* version)
{
    m_version = version == nullptr ? FILETIME() : *version;
    m_started = m_folder.StartMessageEnumeration(0, &m_version);
    return m_started || GetLastError() == ERROR_ALREADY_INITIALIZED;
}

bool CMailFolderContactEnumerator::Finish()
{
    if (m_started && !m_folder.CloseMessageEnumeration()) {
        return false;
    }
    m_started = false;
    m_current.reset();
    return true;
}
