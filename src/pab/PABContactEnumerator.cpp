#include "pab/PABContactEnumerator.h"

#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "server/FileSystem.h"

#include <new>
#include <utility>

inline namespace contactmgr_internal
{

CPABContactEnumerator::CPABContactEnumerator(const std::string& rootDirectory)
    : m_rootDirectory(rootDirectory)
{}

CPABContactEnumerator::~CPABContactEnumerator()
{
    CPABContactEnumerator::Finish();
}

bool CPABContactEnumerator::Start(const FILETIME* version, bool* changed)
{
    return KeepingLastError([&] { return Begin(version, changed); });
}

bool CPABContactEnumerator::Begin(const FILETIME* version, bool* changed)
{
    Finish();
    m_faults.clear();
    WIN32_FILE_ATTRIBUTE_DATA folder;
    if (CFileSystem::GetFileAttributesExA(m_rootDirectory.c_str(), GetFileExInfoStandard,
                                          &folder) == 0) {
        if (!IsMissingFile(GetLastError())) {
            return false;
        }
        if (changed != nullptr) {
            *changed = false;
        }
        return true;
    }
    m_version = folder.ftLastWriteTime;
    if (version != nullptr && changed != nullptr) {
        *changed = m_version > *version;
        if (!*changed) {
            return true;
        }
    }
    // A folder without contact files is a walk that ends at once.
    m_search = CFindHandle(FindFirstFileA((m_rootDirectory + "/*.vcf").c_str(), &m_entry));
    m_isFirstPending = true;
    return m_search.IsOpen() || IsMissingFile(GetLastError());
}

bool CPABContactEnumerator::Finish()
{
    if (!m_search.Close()) {
        return false;
    }
    m_current.reset();
    return true;
}

bool CPABContactEnumerator::MoveNext()
{
    return KeepingLastError([this] { return MoveToNextContact(); });
}

bool CPABContactEnumerator::MoveToNextContact()
{
    if (!m_search.IsOpen()) {
        return false;
    }
    while (std::exchange(m_isFirstPending, false) || FindNextFileA(m_search.Get(), &m_entry) != 0) {
        // An empty file was deleted or never saved.
        const bool isCandidate =
            m_entry.nFileSizeLow != 0 && (m_entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
        if (isCandidate && OpenEntry()) {
            return true;
        }
    }
    return false;
}

bool CPABContactEnumerator::OpenEntry()
{
    // First, since the contact may be the one that is held.
    m_current.reset();
    // A copy such as "80000000 (1).vcf" reads as the same number as 80000000.vcf.
    const ContactMgr::CContactId id = CPABContact::FileNameToContactId(m_entry.cFileName);
    const std::string fileName = CPABContact::ContactIdToFileName(id);
    if (!EqualIgnoringCase(fileName, m_entry.cFileName)) {
        return false;
    }
    auto contact = Make<CPABContact>();
    SetLastError(ERROR_SUCCESS);
    if (!contact->Open(m_rootDirectory.c_str(), id.ToNumber())) {
        // For any other reason the contact is passed over; this one would open another time.
        if (GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
            throw std::bad_alloc();
        }
        m_faults.push_back({{}, id.ToString(), GetLastError(), false});
        return false;
    }
    m_current = std::move(contact);
    return true;
}

} // namespace contactmgr_internal
