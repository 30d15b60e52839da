#include "pab/PABContact.h"

#include "directory/AddressContentLine.h"
#include "directory/ContentLineSyntax.h"
#include "directory/EmailContentLine.h"
#include "directory/IMContentLine.h"
#include "directory/NameContentLine.h"
#include "directory/TelephoneContentLine.h"
#include "directory/TextLines.h"
#include "pab/PABContactLines.h"
#include "platform/Ascii.h"
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

using DirectoryUtils::CContentLine;

namespace
{

constexpr std::uint32_t kMaxLineLength = 75;
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
    AddLine(Make<VCardUtils::CNameContentLine>());
    AddLine(Make<CContentLine>("FN"));
    AddLine(Make<CContentLine>("VERSION")).SetMainValue(u"3.0");
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

bool CPABContact::SetEmails(const CContactEmailList& emails)
{
    m_isDirty = true;
    return CContact::SetEmails(emails);
}

bool CPABContact::SetAddresses(const CContactAddrList& addresses)
{
    m_isDirty = true;
    return CContact::SetAddresses(addresses);
}

bool CPABContact::SetTelephones(const CContactTelList& telephones)
{
    m_isDirty = true;
    return CContact::SetTelephones(telephones);
}

bool CPABContact::SetIMs(const CContactIMList& ims)
{
    m_isDirty = true;
    return CContact::SetIMs(ims);
}

bool CPABContact::Read()
{
    const CFunctionDebugging scope("CPABContact::Read");
    CTextLines lines;
    if (!ReadContentLines(&lines) || !HasVCardEnvelope(lines)) {
        return false;
    }
    if (!ParseContentLines(lines) || !IsSupportedCard()) {
        return false;
    }
    TakeNames();
    return true;
}

bool CPABContact::ReadContentLines(CTextLines* lines)
{
    const CFunctionDebugging scope("CPABContact::ReadContentLines");
    // Checked before memory is asked for: the file may be anybody's.
    std::uint32_t sizeHigh = 0;
    const std::uint32_t size = GetFileSize(m_file.Get(), &sizeHigh);
    if (sizeHigh != 0 || size > kMaxFileBytes) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    std::string text(size, '\0');
    std::uint32_t count = 0;
    if (ReadFile(m_file.Get(), text.data(), size, &count, nullptr) == 0 || count < size) {
        return false;
    }
    return ReadContentLines(lines, std::move(text));
}

bool CPABContact::ReadContentLines(CTextLines* lines, std::string text)
{
    const CFunctionDebugging scope("CPABContact::ReadContentLines");
    const bool isTooLong = text.size() > kMaxFileBytes;
    if (!isTooLong) {
        lines->Assign(std::move(text));
    }
    if (isTooLong || lines->Lines().size() > kMaxLines) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    return true;
}

bool CPABContact::ParseContentLines(const CTextLines& lines)
{
    const CFunctionDebugging scope("CPABContact::ParseContentLines");
    // The first and the last are the envelope.
    for (std::size_t index = 1; index + 1 < lines.Lines().size(); ++index) {
        ParseContentLine(lines.Lines()[index]);
    }
    return true;
}

// A text that is no content line is dropped. The lines of the four lists are kept as entries alone,
// without their group and further parameters.
void CPABContact::ParseContentLine(std::string_view text)
{
    std::string group;
    std::string name;
    DirectoryUtils::CParameters parameters;
    std::u16string value;
    if (!DirectoryUtils::ParseLine(text, &group, &name, &parameters, &value)) {
        return;
    }
    if (name == "EMAIL") {
        const VCardUtils::CEmailContentLine line(std::move(group), std::move(parameters),
                                                 std::move(value));
        GetEmails().AddTail(line.GetEmail());
    } else if (name == "N") {
        AddLine(Make<VCardUtils::CNameContentLine>(std::move(group), std::move(parameters),
                                                   std::move(value)));
    } else if (name == "ADR") {
        const VCardUtils::CAddressContentLine line(std::move(group), std::move(parameters),
                                                   std::move(value));
        GetAddresses().AddTail(line.GetAddress());
    } else if (name == "TEL") {
        const VCardUtils::CTelephoneContentLine line(std::move(group), std::move(parameters),
                                                     std::move(value));
        GetTelephones().AddTail(line.GetTelephone());
    } else if (name == "IMPP") {
        const VCardUtils::CIMContentLine line(std::move(group), std::move(parameters),
                                              std::move(value));
        GetIMs().AddTail(line.GetIM());
    } else {
        AddLine(Make<CContentLine>(std::move(group), std::move(name), std::move(parameters),
                                   std::move(value)));
    }
}

// True also where there is no line of that name.
bool CPABContact::LinesHaveValue(const char* name, std::u16string_view value) const
{
    for (POSITION position = m_lines.Find(name); position != nullptr;
         position = m_lines.Find(name, position)) {
        if (!EqualIgnoringCase(m_lines.GetAt(position)->GetMainValue(), value)) {
            return false;
        }
    }
    return true;
}

bool CPABContact::IsSupportedCard() const
{
    return LinesHaveValue("PROFILE", u"VCARD") && LinesHaveValue("VERSION", u"3.0");
}

// Copies both names first, so that both change or, where memory ends, none.
void CPABContact::TakeNames()
{
    if (const VCardUtils::CNameContentLine* name = GetName()) {
        std::u16string firstName = name->GetGivenName();
        std::u16string lastName = name->GetFamilyName();
        m_firstName = std::move(firstName);
        m_lastName = std::move(lastName);
    }
}

bool CPABContact::Write()
{
    const CFunctionDebugging scope("CPABContact::Write");
    // Nothing is written that Open would refuse: neither such a card, nor below, a text that is too
    // long.
    if (!IsSupportedCard()) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    RenewRevision();
    RaiseWriteCounter();
    std::string text = kVCardBegin;
    std::size_t lineCount = 2; // the envelope
    if (!ForEachLine([&](const CContentLine& line) {
            ++lineCount;
            return DirectoryUtils::AppendFolded(line, kMaxLineLength, &text);
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
    const std::string revision = GenerateRevValue();
    FindOrAddLine(kRevisionLine).SetMainValue({revision.begin(), revision.end()});
}

// At its largest value the counter stays: it must not become negative.
void CPABContact::RaiseWriteCounter()
{
    CContentLine& line = FindOrAddLine(kWriteCounterLine);
    const std::int32_t count = ToNumber(line.GetMainValue());
    const std::string next = std::to_string(count < kLargestWriteCount ? count + 1 : count);
    line.SetMainValue({next.begin(), next.end()});
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
