#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <fcntl.h>

// The floors' system calls, counted. One that fails ends the program, since a floor that did less
// than its work would be a wrong measure.
namespace Bare
{

// By this thread.
std::size_t Calls() noexcept;

int Open(int folder, const char* name, int flags = O_RDWR, mode_t mode = 0600);
int OpenFolder(const char* path);
void Close(int file);
// Also where somebody holds it: a walk of the library holds the contact that it is at.
void Lock(int file);
// At most so many bytes from the beginning; gives how many there were.
std::size_t Read(int file, char* buffer, std::size_t size);
void Write(int file, const char* text, std::size_t size);
void Truncate(int file);
std::size_t SizeOf(int file);
// Size of a file by name, with its times; -1 if there is no such file.
long Stat(int folder, const char* name);
void Touch(int file);
void TouchPath(const char* path);
void Rename(int folder, const char* from, const char* to);
// A full path.
void CreateFile(const std::string& path, const std::string& text);

// The names in a folder, one after the other, in the order of the file system.
class CListing
{
public:
    explicit CListing(int folder);
    // Null at the end; the next call then begins anew. "." and ".." are left out.
    const char* Next();

private:
    const int m_folder;
    std::size_t m_at = 0;
    std::size_t m_end = 0;
    const std::unique_ptr<char[]> m_buffer;
};

// An open folder, closed at the end.
class CFolder
{
public:
    explicit CFolder(const std::string& path) : m_path(path), m_file(OpenFolder(path.c_str())) {}
    ~CFolder() { Close(m_file); }
    CFolder(const CFolder&) = delete;
    CFolder& operator=(const CFolder&) = delete;

    int File() const { return m_file; }
    const std::string& Path() const { return m_path; }

private:
    const std::string m_path;
    const int m_file;
};

// What reading one contact cannot do without: opens, locks, reads and closes. Gives its length.
std::size_t ReadContact(int folder, const char* name);

} // namespace Bare
