#include "platform/FileStamp.h"
#include "platform/FileHandle.h"
#include "platform/FileRewrite.h"
#include "platform/FileTime.h"
#include "support/FaultySystemCalls.h"
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

HANDLE OpenExclusive(const std::string& path, std::uint32_t disposition)
{
    return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE);
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

void SetTimesOf(const std::string& path, const CTimes& times)
{
    struct timespec values[2] = {};
    for (const auto& [value, count] :
         {std::pair{&values[0], times.access}, {&values[1], times.lastWrite}}) {
        std::uint32_t nanoseconds = 0;
        FileTimeToUnix(FileTimeFromCount(static_cast<std::uint64_t>(count)), &value->tv_sec,
                       &nanoseconds);
        value->tv_nsec = nanoseconds;
    }
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), values, 0), 0);
}

// A clock that goes on by a microsecond at each look, or with the time, and counts the looks.
struct CSlowClock : CFaultySystemCalls
{
    int Now(struct timespec* time) override
    {
        ++looks;
        count += 10;
        if (isRunning) {
            count =
                std::max(count, begin + (std::chrono::steady_clock::now() - start).count() / 100);
        }
        std::uint32_t nanoseconds = 0;
        FileTimeToUnix(FileTimeFromCount(static_cast<std::uint64_t>(count)), &time->tv_sec,
                       &nanoseconds);
        time->tv_nsec = nanoseconds;
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
    void Set(std::int64_t moment) { begin = count = moment; }

    std::int64_t count = 0;
    std::int64_t begin = 0;
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
    CSlowClock clock;
    clock.Set(folder.now + kSecond);
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
    struct : CSlowClock
    {
        int SetTimes(int file, const struct timespec times[2]) override
        {
            const int result = CSystemCalls::SetTimes(file, times);
            count += --slow >= 0 ? 1000 : 0;
            passed = count;
            return result;
        }
        using CSystemCalls::SetTimes;
        int slow = 3;
        std::int64_t passed = 0;
    } clock;
    const CFolderInUse folder;
    clock.Set(folder.now + kSecond);
    clock.slow = 30; // always
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
        CSlowClock clock;
        clock.Set(folder.now + kSecond);
        clock.isRunning = c.waits;
        SetTimesOf(folder.temp.Path(), {clock.begin + c.lastWrite, clock.begin + c.access});
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

TEST(FileStampTest, AFoldersTimeNeverGoesBack)
{
    const CFolderInUse folder;
    std::int64_t last = folder.now;
    for (int number = 0; number < 100; ++number) {
        const CFileHandle file(OpenExclusive(folder.temp / std::to_string(number), CREATE_NEW));
        const std::int64_t made = TimesOf(folder.temp.Path()).lastWrite;
        EXPECT_EQ(RewriteFile(file.Get(), "text"), 1);
        FILETIME creation;
        EXPECT_EQ(GetFileTime(file.Get(), &creation, nullptr, nullptr), 1);
        EXPECT_GE(static_cast<std::int64_t>(FileTimeToCount(creation)), last);
        EXPECT_LE(static_cast<std::int64_t>(FileTimeToCount(creation)), made);
        EXPECT_GE(made, last) << "by the system's coarse clock";
        last = TimesOf(folder.temp.Path()).lastWrite;
    }
}
