#include "pab/PABContactEnumerator.h"
#include "trust/Trial.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include <unistd.h>

namespace
{

constexpr std::uint32_t kFreeBytes = 1'000'000; // file systems reserve more than they use

struct CSubject
{
    std::uint32_t number = 0;
    std::uint32_t size = 0;
    std::uint32_t saved = 1; // the last seed for which Save gave true
    std::uint32_t tried = 1;
};

struct CFills
{
    std::atomic<bool> isHeld{false};
    std::atomic<int> count{0};
};

bool IsForRoom(std::uint32_t error)
{
    return error == ERROR_DISK_FULL || error == ERROR_DISK_QUOTA_EXCEEDED;
}

// Takes all the room there is, and whatever becomes free unless it is held, until it is killed.
bool Fill(const std::string& path, CFills& fills)
{
    const std::vector<char> block(1 << 20, 'x');
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    for (;; ++fills.count) {
        for (std::size_t size = block.size(); size > 0; size /= 2) {
            while (!fills.isHeld && write(file, block.data(), size) > 0) {
            }
        }
        SleepMicroseconds(300);
    }
}

// The first of the two may have begun before.
void WaitUntilFull(CFills& fills)
{
    fills.isHeld = false;
    for (const int begin = fills.count; fills.count < begin + 2;) {
        SleepMicroseconds(50);
    }
}

// Whether the contact is whole, the last acknowledged text or a later one.
bool IsWhole(CPABPlugin& plugin, const CSubject& subject)
{
    const ContactPtr contact = Open(plugin, subject.number);
    const std::uint32_t seed = contact == nullptr ? 0 : SeedOf(*contact).value_or(0);
    return seed >= subject.saved && seed <= subject.tried;
}

class CFullDiskTrial
{
public:
    CFullDiskTrial(const CTrialOptions& options, CRow& row)
        : m_book(options.folder + "/Contacts"),
          m_filler(options.folder + "/filler"),
          m_plugin(m_book),
          m_row(row)
    {
        for (int index = 0; index < 3 * options.count; ++index) {
            const std::uint32_t size = index % 3 == 0 ? 1000 : index % 3 == 1 ? 20'000 : 200'000;
            m_subjects.push_back({New(m_plugin, 1, size), size});
        }
        const std::string command = "cd '" + options.folder +
                                    "' && cp -a --reflink=always Contacts Copies && " +
                                    options.share;
        m_isShared = row.Try(std::system(command.c_str()) == 0, "blocks cannot be shared here");
    }

    void Run()
    {
        if (!m_isShared) {
            return;
        }
        ContactMgr::CContactIdList deleted, other;
        FILETIME version;
        m_row.Try(m_plugin.ChangesSince({}, &version, &deleted, &other, &other), "no report");
        const pid_t filler = StartWorker([&] { return Fill(m_filler, *m_fills); });
        for (std::size_t index = 0; index < m_subjects.size(); ++index) {
            SetFlushing(index % 2 == 1);
            Change(m_subjects[index], m_subjects[index].size);
            Change(m_subjects[index], m_subjects[index].size * 3 / 2);
        }
        const bool isReported = m_plugin.ChangesSince(version, &version, &deleted, &other, &other);
        m_row.Try((isReported || IsForRoom(GetLastError())) && deleted.IsEmpty(),
                  "reported as deleted");
        Walk();
        Kill(filler);
        std::filesystem::remove(m_filler);
        FlushFileSystem(m_book.c_str());
        for (CSubject& subject : m_subjects) {
            const std::string what = std::to_string(subject.size) + ", with room again";
            m_row.Try(IsWhole(m_plugin, subject), what);
            subject.saved = ++subject.tried;
            m_row.Try(::Change(m_plugin, subject.number, subject.saved, 1000) &&
                          IsWhole(m_plugin, subject),
                      what + " and saved");
        }
        m_row.Try(m_refused > 0, "the disk was never full");
        m_row.Note(std::to_string(m_refused) + " of " + std::to_string(2 * m_subjects.size()) +
                   " saves refused, " + std::to_string(m_shut) + " left to be repaired");
    }

private:
    // Some room becomes free, and every other time it goes as soon as the redo file is there.
    void Change(CSubject& subject, std::uint32_t size)
    {
        const std::string path = PathOf(m_book, subject.number);
        const std::string what = std::to_string(subject.size) + " to " + std::to_string(size);
        WaitUntilFull(*m_fills);
        m_fills->isHeld = true;
        std::filesystem::resize_file(m_filler, std::filesystem::file_size(m_filler) -
                                                   RandomBelow(2 * size + kFreeBytes));
        const bool isWorst = RandomBelow(2) == 0;
        const CBeforeOverwrite filling(path, [&](int, const void*, std::size_t) {
            if (isWorst) {
                WaitUntilFull(*m_fills);
            }
        });
        ++subject.tried;
        ContactPtr contact = Open(m_plugin, subject.number);
        if (contact != nullptr) {
            SetText(*contact, subject.tried, size);
        }
        const bool isSaved = contact != nullptr && contact->Save();
        m_row.Try(isSaved || IsForRoom(GetLastError()), what + ": wrong error");
        m_row.Try(std::filesystem::file_size(path) > 0, what + ": empty");
        contact.reset();
        WaitUntilFull(*m_fills);
        subject.saved = isSaved ? subject.tried : subject.saved;
        const bool isWhole = IsWhole(m_plugin, subject);
        const bool isShut = !isWhole && !isSaved && IsForRoom(GetLastError());
        m_row.Try(isWhole || isShut, what + ": lost");
        m_refused += !isSaved;
        m_shut += isShut;
    }

    // Goes on behind those that do not open.
    void Walk()
    {
        const auto opened =
            std::count_if(m_subjects.begin(), m_subjects.end(),
                          [&](const CSubject& one) { return IsWhole(m_plugin, one); });
        CPABContactEnumerator walk(m_book);
        m_row.Try(walk.Start(nullptr, nullptr), "no walk");
        std::ptrdiff_t walked = 0;
        while (walk.MoveNext()) {
            ++walked;
        }
        m_row.Try(walked >= opened, std::to_string(opened - walked) + " left out of a walk");
    }

    const std::string m_book;
    const std::string m_filler;
    CPABPlugin m_plugin;
    CRow& m_row;
    std::vector<CSubject> m_subjects;
    const CShared<CFills> m_fills;
    bool m_isShared = false;
    int m_refused = 0;
    int m_shut = 0;
};

} // namespace

bool TryFullDisk(const CTrialOptions& options)
{
    CRow row("full disk, blocks shared: no contact lost, whole once there is room");
    CFullDiskTrial(options, row).Run();
    return row.Print();
}
