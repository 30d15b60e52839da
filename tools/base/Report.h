#pragma once

#include "platform/LastError.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

// A command line that makes no sense: an unknown property, a missing field. Ends the tool with
// status 2.
class CUsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Standard output cannot be written, as on a full disk. The reason is the last error.
class COutputError : public std::runtime_error
{
public:
    COutputError() : std::runtime_error("write standard output") {}
};

// Standard output is a pipe whose reader has gone, as `head` does. Ends the tool without a word.
class CClosedPipe : public std::runtime_error
{
public:
    CClosedPipe() : std::runtime_error("standard output is closed") {}
};

// Write to standard output, buffered. Throw COutputError and CClosedPipe.
void Print(std::string_view text);
void FlushOutput();

// Calls with the last error cleared, so that a code found afterwards is that call's own.
template <class Call>
auto Try(Call call)
{
    SetLastError(ERROR_SUCCESS);
    return call();
}

// What failed, as one line each on standard error. A resource; one for each run of the tool.
class CReport
{
public:
    CReport() = default;
    CReport(const CReport&) = delete;
    CReport& operator=(const CReport&) = delete;

    // "contactmgr: WHAT: REASON (NUMBER)" from the last error; "contactmgr: WHAT: REFUSAL" if that
    // is 0. Gives false, for callers to pass on.
    bool Failure(std::string_view what, std::string_view refusal = "refused");

    // The same with a reason that says more than the last error's words; empty if there is none.
    bool FailureBecause(std::string_view what, std::string_view reason);

    // What the tool itself refuses, with the number that the library has for it, or without one.
    bool Refusal(std::string_view what, std::string_view why);
    bool Refusal(std::string_view what, std::string_view why, std::uint32_t code);

    // What is worth knowing but no failure.
    void Note(std::string_view what, std::string_view text);

    std::size_t CountFailures() const { return m_failures; }

private:
    std::size_t m_failures = 0;
};
