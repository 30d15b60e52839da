#include "pab/PABContact.h"

#include "directory/NameContentLine.h"
#include "pab/PABContactLines.h"
#include "platform/Failure.h"
#include "platform/FileContent.h"
#include "platform/FileRewrite.h"
#include "platform/FileTime.h"
#include "server/FileSystem.h"
#include "trace/FunctionDebugging.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <limits>
#include <new>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::size_t kMaxLineLength = 75;
constexpr const char* kRevisionLine = "REV";
constexpr std::int32_t kLargestWriteCount = std::numeric_limits<std::int32_t>::max();

} // namespace

std::uint32_t ReverseBits(std::uint32_t value) noexcept
{
    std::uint32_t reversed = 0;
    for (int bit = 0; bit < 32; ++bit) {
        reversed = reversed * 2 + (value & 1);
        value >>= 1;
    }
    return reversed;
}

CPABContact::CPABContact() = default;

CPABContact::~CPABContact()
{
    // A failure is lost here: whoever wants to know of it calls Save before.
    Save();
}

std::string CPABContact::ContactIdToFileName(const ContactMgr::CContactId& id)
{
    const CFunctionDebugging scope("CPABContact::ContactIdToFileName");
    std::array<char, 16> name = {};
    std::snprintf(name.data(), name.size(), "%08x.vcf", ReverseBits(id.ToNumber()));
    return name.data();
}

ContactMgr::CContactId CPABContact::FileNameToContactId(const std::string& fileName)
{
    const CFunctionDebugging scope("CPABContact::FileNameToContactId");
    // A number that is too large counts as the largest, which no file name maps back to.
    std::uint32_t reversed = 0;
    const char* end = fileName.data() + fileName.size();
    if (std::from_chars(fileName.data(), end, reversed, 16).ec == std::errc::result_out_of_range) {
        reversed = std::numeric_limits<std::uint32_t>::max();
    }
    return {kPluginType, ReverseBits(reversed)};
}

void CPABContact::SetLocation(const char* rootDirectory, std::uint32_t number)
{
    m_rootDirectory = rootDirectory;
    m_id = ContactMgr::CContactId(kPluginType, number);
    m_filePath = m_rootDirectory + '/' + ContactIdToFileName(m_id);
}

// Share mode 0 is the lock that keeps all others out until the handle is closed.
bool CPABContact::OpenFile(std::uint32_t disposition)
{
    m_file.Reset(CFileSystem::CreateFileA(m_filePath.c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                          nullptr, disposition, FILE_ATTRIBUTE_NORMAL,
                                          INVALID_HANDLE_VALUE));
    return m_file.IsOpen();
}

bool CPABContact::Open(const char* rootDirectory, std::uint32_t number)
{
    const CFunctionDebugging scope("CPABContact::Open");
    if (rootDirectory == nullptr || number == 0) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    SetLocation(rootDirectory, number);
    return OpenFile(OPEN_EXISTING) && Read();
}

bool CPABContact::Create(const char* rootDirectory, std::uint32_t number)
{
    const CFunctionDebugging scope("CPABContact::Create");
    if (rootDirectory == nullptr || number == 0) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    SetLocation(rootDirectory, number);
    // Another process may be just making the folder, so a missing one is tried a second time.
    if (!OpenFile(CREATE_NEW) &&
        (GetLastError() != ERROR_PATH_NOT_FOUND || !OpenFile(CREATE_NEW))) {
        return false;
    }
    m_lines.SetValue("N", "");
    m_lines.SetValue("FN", "");
    m_lines.SetValue("VERSION", "3.0");
    return true;
}

bool CPABContact::Delete(const char* rootDirectory, std::uint32_t number)
{
    const CFunctionDebugging scope("CPABContact::Delete");
    if (rootDirectory == nullptr || number == 0) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    m_file.Reset();
    SetLocation(rootDirectory, number);
    if (!OpenFile(TRUNCATE_EXISTING)) {
        return false;
    }
    // Network file systems may tell of a failed write only when the file is closed.
    return m_file.Close();
}

bool CPABContact::Save()
try {
    const CFunctionDebugging scope("CPABContact::Save");
    if (!m_isDirty) {
        return true;
    }
    if (!Write()) {
        return false;
    }
    m_isDirty = false;
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

ContactMgr::CContactId CPABContact::GetId()
try {
    return m_id;
} catch (const std::bad_alloc&) {
    FailForMemory();
    return {};
}

std::string CPABContact::GetPluginType()
{
    return kPluginType;
}

bool CPABContact::GetModifiedTime(FILETIME* time)
{
    return CFileSystem::GetFileTime(m_file.Get(), nullptr, nullptr, time) == 1;
}

bool CPABContact::Read()
{
    const CFunctionDebugging scope("CPABContact::Read");
    CCardLines lines;
    if (!ReadContentLines(&lines) || !lines.RemoveEnvelope()) {
        return false;
    }
    ParseContentLines(&lines);
    if (!IsSupportedCard(lines)) {
        return false;
    }
    m_lines = std::move(lines);
    return true;
}

bool CPABContact::ReadContentLines(CCardLines* lines)
{
    const CFunctionDebugging scope("CPABContact::ReadContentLines");
    // Checked before memory is asked for: the file may be anybody's.
    std::uint32_t sizeHigh = 0;
    const std::uint32_t size = GetFileSize(m_file.Get(), &sizeHigh);
    if (sizeHigh != 0 || size > kMaxFileBytes) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    std::vector<char> text(size);
    std::uint32_t count = 0;
    if (ReadFile(m_file.Get(), text.data(), size, &count, nullptr) == 0 || count < size) {
        return false;
    }
    return ReadContentLines(lines, std::move(text));
}

bool CPABContact::ReadContentLines(CCardLines* lines, std::vector<char> text)
{
    const CFunctionDebugging scope("CPABContact::ReadContentLines");
    return (text.size() <= kMaxFileBytes && lines->Assign(std::move(text))) ||
           Fail(ERROR_FILE_TOO_LARGE);
}

void CPABContact::ParseContentLines(CCardLines* lines)
{
    const CFunctionDebugging scope("CPABContact::ParseContentLines");
    lines->FindNames();
}

bool CPABContact::IsSupportedCard(CCardLines& lines)
{
    return lines.HaveValue("PROFILE", "VCARD") && lines.HaveValue("VERSION", "3.0");
}

bool CPABContact::Write()
{
    const CFunctionDebugging scope("CPABContact::Write");
    // A contact of a text alone is not written when it goes.
    if (!m_file.IsOpen()) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    // Nothing is written that Open would refuse: neither such a card, nor below, a text that is too
    // long.
    if (!IsSupportedCard(m_lines)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    RenewRevision();
    RaiseWriteCounter();
    std::string text;
    text.reserve(SizeOfText());
    text = kVCardBegin;
    std::size_t lineCount = 2; // the envelope
    if (!ForEachLine([&](std::string_view line) {
            ++lineCount;
            // The tab takes one byte of each continuation.
            DirectoryUtils::AppendFoldedLine(line, kMaxLineLength, kMaxLineLength - 1, &text);
            return true;
        })) {
        return false;
    }
    text += kVCardEnd;
    if (text.size() > kMaxFileBytes || lineCount > kMaxLines) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    return RewriteFile(m_file.Get(), text) != 0;
}

void CPABContact::RenewRevision()
{
    m_lines.SetValue(kRevisionLine, GenerateRevValue());
}

// At its largest value the counter stays: it must not become negative.
void CPABContact::RaiseWriteCounter()
{
    const std::int32_t count = ToNumber(m_lines.GetValue(kWriteCounterLine).value_or(""));
    const std::int32_t next = count < kLargestWriteCount ? count + 1 : count;
    m_lines.SetValue(kWriteCounterLine, std::to_string(next));
}

std::string CPABContact::GenerateRevValue()
{
    const CFunctionDebugging scope("CPABContact::GenerateRevValue");
    SYSTEMTIME now;
    GetSystemTime(&now);
    std::array<char, 48> text = {};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02dZ", now.wYear, now.wMonth,
                  now.wDay, now.wHour, now.wMinute, now.wSecond);
    return text.data();
}

} // namespace contactmgr_internal
