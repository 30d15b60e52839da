#include "server/FileSystem.h"

#include "platform/LastError.h"
#include "support/TempFolder.h"

#include <cstdint>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

TEST(FileSystemTest, EnsureDirectoryMakesOneFolderUnlessItIsThere)
{
    const CTempFolder folder;
    folder.Write("file", "content");
    std::filesystem::create_directory_symlink("nowhere", folder / "dangling");
    static const std::pair<const char*, std::uint32_t> kErrors[] = {
        {"made", 0},
        {"made", 0},
        {"file", ERROR_ALREADY_EXISTS},
        {"dangling", ERROR_ALREADY_EXISTS},
        {"missing/below", ERROR_PATH_NOT_FOUND},
        {"file/below", ERROR_PATH_NOT_FOUND},
    };
    for (const auto& [name, error] : kErrors) {
        SCOPED_TRACE(name);
        SetLastError(0);
        EXPECT_EQ(EnsureDirectory((folder / name).c_str()) != 0, error == 0);
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(std::filesystem::is_directory(folder / name), error == 0);
    }
}
