#include "base/Report.h"

#include "base/Text.h"
#include "platform/Errno.h"

#include <cerrno>
#include <cstdio>

namespace
{

[[noreturn]] void FailOutput()
{
    if (errno == EPIPE) {
        throw CClosedPipe();
    }
    SetLastError(ErrorFromErrno(errno));
    throw COutputError();
}

void WriteLine(std::string_view what, std::string_view text)
{
    const std::string line = "contactmgr: " + ToField(what) + ": " + ToField(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace

void Print(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        FailOutput();
    }
}

void FlushOutput()
{
    if (std::fflush(stdout) != 0) {
        FailOutput();
    }
}

bool CReport::Failure(std::string_view what, std::string_view refusal)
{
    const std::uint32_t code = GetLastError();
    return FailureBecause(what, code == ERROR_SUCCESS ? refusal : LastErrorText(code));
}

bool CReport::FailureBecause(std::string_view what, std::string_view reason)
{
    const std::uint32_t code = GetLastError();
    if (reason.empty()) {
        return Failure(what);
    }
    return code == ERROR_SUCCESS ? Refusal(what, reason) : Refusal(what, reason, code);
}

bool CReport::Refusal(std::string_view what, std::string_view why, std::uint32_t code)
{
    return Refusal(what, std::string(why) + " (" + std::to_string(code) + ")");
}

bool CReport::Refusal(std::string_view what, std::string_view why)
{
    ++m_failures;
    WriteLine(what, why);
    return false;
}

void CReport::Note(std::string_view what, std::string_view text)
{
    WriteLine(what, text);
}
