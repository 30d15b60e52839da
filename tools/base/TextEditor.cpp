#include "base/TextEditor.h"

#include "base/StdioFile.h"
#include "platform/Errno.h"
#include "platform/LastError.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

std::string Editor()
{
    for (const char* const name : {"VISUAL", "EDITOR"}) {
        const char* const value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return "vi";
}

// While it lives, this process passes over the keys that interrupt and quit. A resource.
class CIgnoredKeys
{
public:
    CIgnoredKeys()
    {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGINT, &ignore, &m_interrupt);
        sigaction(SIGQUIT, &ignore, &m_quit);
    }
    ~CIgnoredKeys() { Restore(); }
    CIgnoredKeys(const CIgnoredKeys&) = delete;
    CIgnoredKeys& operator=(const CIgnoredKeys&) = delete;

    void Restore() const
    {
        sigaction(SIGINT, &m_interrupt, nullptr);
        sigaction(SIGQUIT, &m_quit, nullptr);
    }

private:
    struct sigaction m_interrupt = {};
    struct sigaction m_quit = {};
};

[[noreturn]] void ExecuteShell(const std::string& command, const std::string& editor,
                               const std::string& path)
{
    execl("/bin/sh", "sh", "-c", command.c_str(), editor.c_str(), path.c_str(), nullptr);
    _exit(127);
}

} // namespace

CTextEditor::~CTextEditor()
{
    // An editor may have left a backup beside it.
    if (!m_isKept && !m_folder.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
}

bool CTextEditor::Create(const std::string& name, std::string_view text)
{
    const char* const temporary = std::getenv("TMPDIR");
    std::string folder =
        temporary != nullptr && *temporary == '/' ? temporary : std::string("/tmp");
    folder += "/contactmgr-edit-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        return FailWithErrno();
    }
    m_folder = folder;
    m_path = m_folder + '/' + name;
    std::FILE* const file = std::fopen(m_path.c_str(), "wbe");
    if (file == nullptr) {
        return FailWithErrno();
    }
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const bool isWhole = isWritten || FailWithErrno();
    return (std::fclose(file) == 0 || FailWithErrno()) && isWhole;
}

bool CTextEditor::Run(std::string* fault) const
{
    const std::string editor = Editor();
    const std::string command = editor + " \"$@\"";
    const CIgnoredKeys keys;
    const pid_t child = fork();
    if (child == 0) {
        keys.Restore();
        ExecuteShell(command, editor, m_path);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return true;
    }
    *fault = "the editor '" + editor + "' " +
             (child < 0           ? "could not be started"
              : WIFEXITED(status) ? "ended with status " + std::to_string(WEXITSTATUS(status))
                                  : "was ended by signal " + std::to_string(WTERMSIG(status)));
    return false;
}

bool CTextEditor::Read(std::string* text) const
{
    const CFile file(std::fopen(m_path.c_str(), "rbe"));
    if (file == nullptr) {
        return FailWithErrno();
    }
    std::string read;
    std::array<char, 16 << 10> piece;
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get())) {
        read.append(piece.data(), count);
    }
    if (std::ferror(file.get()) != 0) {
        return FailWithErrno();
    }
    *text = std::move(read);
    return true;
}
