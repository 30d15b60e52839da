#include "server/FileSystem.h"

#include "support/TempFolder.h"

#include <cstdint>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

namespace
{

TEST(FileSystemTest, EnsureDirectoryMakesOneFolderUnlessItIsThere)
{
    const CTempFolder folder;
    folder.Write("file", "content");
    std::filesystem::create_directory(folder / "real");
    std::filesystem::create_symlink("real", folder / "link");
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    const struct
    {
        const char* what;
        std::string path;
        int result;
        std::uint32_t error;
    } kCases[] = {
        {"missing", folder / "made", 1, 1234},
        {"there already", folder / "made", 1, 1234},
        {"link to a folder", folder / "link", 1, 1234},
        {"file in the way", folder / "file", 0, ERROR_ALREADY_EXISTS},
        {"link to nothing in the way", folder / "dangling", 0, ERROR_ALREADY_EXISTS},
        {"parent missing", folder / "missing/below", 0, ERROR_PATH_NOT_FOUND},
        {"parent is a file", folder / "file/below", 0, ERROR_PATH_NOT_FOUND},
        {"empty path", "", 0, ERROR_INVALID_PARAMETER},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        SetLastError(1234);
        EXPECT_EQ(EnsureDirectory(c.path.c_str()), c.result);
        EXPECT_EQ(GetLastError(), c.error);
        EXPECT_EQ(std::filesystem::is_directory(c.path), c.result != 0);
    }
    EXPECT_EQ(EnsureDirectory(nullptr), 0);
    EXPECT_EQ(folder.Read("file"), "content");
}

} // namespace
