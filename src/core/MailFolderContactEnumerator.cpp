#include "core/MailFolderContactEnumerator.h"

#include "platform/LastError.h"

CMailFolderContactEnumerator::~CMailFolderContactEnumerator()
{
    const CKeepLastError keep;
    CMailFolderContactEnumerator::Finish();
}

// The folder takes the caller's version and puts its own in its place.
bool CMailFolderContactEnumerator::StartWalk(const FILETIME* version)
{
    m_version = version == nullptr ? FILETIME() : *version;
    m_started = m_folder.StartMessageEnumeration(0, &m_version);
    return m_started || GetLastError() == ERROR_ALREADY_INITIALIZED;
}

bool CMailFolderContactEnumerator::Finish()
{
    if (m_started && !m_folder.CloseMessageEnumeration()) {
        return false; // the walk stays open
    }
    m_started = false;
    m_current.reset();
    return true;
}
