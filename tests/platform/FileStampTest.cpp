#include "platform/FileStamp.h"
#include "platform/FileTime.h"
#include "support/FaultySystemCalls.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr std::int64_t kSecond = 10'000'000;
constexpr std::int64_t kHour = 3600 * kSecond;

struct timespec TimespecOf(std::int64_t count)
{
    std::uint32_t nanoseconds = 0;
    struct timespec value = {};
    FileTimeToUnix(FileTimeFromCount(static_cast<std::uint64_t>(count)), &value.tv_sec,
                   &nanoseconds);
    value.tv_nsec = nanoseconds;
    return value;
}

struct CTimes
{
    std::int64_t lastWrite, access;
};

CTimes TimesOf(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    EXPECT_EQ(GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data), 1);
    return {static_cast<std::int64_t>(FileTimeToCount(data.ftLastWriteTime)),
            static_cast<std::int64_t>(FileTimeToCount(data.ftLastAccessTime))};
}

// A clock that goes on by a microsecond at each look, or with the time, and counts the looks.
struct CSlowClock : CFaultySystemCalls
{
    explicit CSlowClock(std::int64_t moment) : begin(moment), count(moment) {}
    int Now(struct timespec* time) override
    {
        ++looks;
        count += 10;
        if (isRunning) {
            count =
                std::max(count, begin + (std::chrono::steady_clock::now() - start).count() / 100);
        }
        *time = TimespecOf(count);
        return 0;
    }
    int Open(const char* path, int flags, mode_t mode) override
    {
        const int file = CFaultySystemCalls::Open(path, flags, mode);
        if (std::string_view(path).ends_with(".lock")) {
            (void)!dup(file); // as a child process that is forked at that moment has it
        }
        return file;
    }

    const std::int64_t begin;
    std::int64_t count;
    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    bool isRunning = false;
    int looks = 0;
};

// A file in a folder that has been in use, both at one moment.
struct CFolderInUse
{
    CFolderInUse() : path(temp / "file"), file(OpenExclusive(path, CREATE_NEW))
    {
        EXPECT_EQ(Save(), 1);
        now = TimesOf(temp.Path()).lastWrite;
    }
    int Save() const { return RewriteFile(file.Get(), "text"); }

    const CTempFolder temp;
    const std::string path;
    const CFileHandle file;
    std::int64_t now = 0;
};

} // namespace

TEST(FileStampTest, ASaveIsFourteenCallsAndSetsFileAndFolderToOneTime)
{
    const CFolderInUse folder;
    CSlowClock clock(folder.now + kSecond);
    EXPECT_EQ(folder.Save(), 1);
    EXPECT_LE(clock.Calls(), 14);
    EXPECT_LE(clock.looks, 12) << "waits for longer than it takes";
    const CTimes file = TimesOf(folder.path);
    const CTimes after = TimesOf(folder.temp.Path());
    EXPECT_EQ(folder.Save(), 1);
    EXPECT_LT(clock.Calls(), 100) << "waits for the lock of a child process";
    EXPECT_GT(file.lastWrite, folder.now + kSecond);
    EXPECT_LE(file.lastWrite, clock.count) << "told of before the clock has passed it";
    EXPECT_EQ(after.lastWrite, file.lastWrite);
    EXPECT_EQ(after.access, file.lastWrite + kHour) << "as it lies on the disks of users";
}

TEST(FileStampTest, AStampThatTheClockHasPassedIsGivenAnew)
{
    // A file system that always takes long to set a time.
    struct CSlowTimes : CSlowClock
    {
        using CSlowClock::CSlowClock;
        using CSystemCalls::SetTimes;
        int SetTimes(int file, const struct timespec times[2]) override
        {
            const int result = CSystemCalls::SetTimes(file, times);
            passed = count += 1000;
            return result;
        }
        std::int64_t passed = 0;
    };
    const CFolderInUse folder;
    CSlowTimes clock(folder.now + kSecond);
    EXPECT_EQ(folder.Save(), 1);
    EXPECT_GT(TimesOf(folder.path).lastWrite, clock.passed);
}

TEST(FileStampTest, AStampIsBehindTheLatestVersionAndWaitsForTheClockUnlessThatWasSetBack)
{
    static const struct
    {
        const char* what;
        std::int64_t lastWrite, access; // of the folder, from the clock
        std::int64_t stamp;             // likewise, at least
        bool waits;
    } kCases[] = {
        {"in use", -kHour, 0, 0, false},
        {"a second ahead", kSecond, 0, kSecond, true},
        {"an hour ahead", kHour, 0, kHour, false},
        {"three seconds ahead", 3 * kSecond, 0, 3 * kSecond, false},
        {"moved back by a name", -kHour, 24 * kHour, 23 * kHour, false},
        {"access time set by hand", -kHour, 26 * kHour, 0, false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CFolderInUse folder;
        CSlowClock clock(folder.now + kSecond);
        clock.isRunning = c.waits;
        const struct timespec times[2] = {TimespecOf(clock.begin + c.access),
                                          TimespecOf(clock.begin + c.lastWrite)};
        ASSERT_EQ(utimensat(AT_FDCWD, folder.temp.Path().c_str(), times, 0), 0);
        EXPECT_EQ(folder.Save(), 1);
        const std::int64_t stamp = TimesOf(folder.path).lastWrite;
        EXPECT_GT(stamp, clock.begin + c.stamp);
        EXPECT_LT(stamp, clock.begin + c.stamp + kSecond / 100);
        EXPECT_EQ(TimesOf(folder.temp.Path()).lastWrite, stamp);
        EXPECT_EQ(clock.count >= stamp, c.waits || c.stamp == 0);
    }
}

TEST(FileStampTest, StampsWaitForEachOtherButNotForEver)
{
    const CFolderInUse folder;
    const int other = open((folder.temp / ".redo/.lock").c_str(), O_RDWR | O_CLOEXEC);
    for (const bool isSave : {true, false}) {
        ASSERT_EQ(flock(other, LOCK_EX), 0);
        FILETIME released, time;
        std::thread holder([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            GetSystemTimeAsFileTime(&released);
            flock(other, LOCK_UN);
        });
        EXPECT_EQ(isSave ? folder.Save() : MoveFolderTime(folder.temp.Path(), time, &time), 1);
        isSave ? (void)GetFileTime(folder.file.Get(), nullptr, nullptr, &time)
               : GetSystemTimeAsFileTime(&time);
        holder.join();
        EXPECT_GT(time, released) << isSave;
    }
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    EXPECT_EQ(folder.Save(), 1) << "another one stopped while it had the lock";
    close(other);
}

// Where a new name moves the folder's time to a clock that is far behind.
struct CCoarseNames : CPlantedCalls
{
    int Link(int file, const char* path) override
    {
        const int result = CSystemCalls::Link(file, path);
        const std::string folder = std::filesystem::path(path).parent_path();
        const struct timespec times[2] = {{0, UTIME_OMIT},
                                          TimespecOf(TimesOf(folder).lastWrite - kSecond)};
        return utimensat(AT_FDCWD, folder.c_str(), times, 0) == 0 ? result : -1;
    }
};

TEST(FileStampTest, AFoldersTimeNeverGoesBack)
{
    const CFolderInUse folder;
    const CCoarseNames names;
    FILETIME last;
    for (int number = 0; number < 3; ++number) {
        const CFileHandle file(OpenExclusive(folder.temp / std::to_string(number), CREATE_NEW));
        const FILETIME made = LastWriteOf(folder.temp.Path());
        EXPECT_EQ(RewriteFile(file.Get(), "text"), 1);
        FILETIME creation;
        EXPECT_EQ(GetFileTime(file.Get(), &creation, nullptr, nullptr), 1);
        EXPECT_TRUE(last <= creation && creation <= made);
        last = LastWriteOf(folder.temp.Path());
    }
}
