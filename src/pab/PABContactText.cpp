#include "directory/TextLines.h"
#include "pab/PABContactLines.h"
#include "platform/Failure.h"
#include "text/Utf8String.h"
#include "trace/FunctionDebugging.h"

#include <algorithm>
#include <new>
#include <utility>

using DirectoryUtils::CContentLine;

namespace
{

// A tab that continues a line is not counted.
constexpr std::size_t kFoldBytes = 75;

std::string_view TrimWhiteSpace(std::string_view text)
{
    constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";
    const std::size_t first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

} // namespace

bool CPABContact::ToString(std::u16string* text)
try {
    const CFunctionDebugging scope("CPABContact::ToString");
    if (text == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    CUtf8String card(kVCardBegin);
    CUtf8String lineText;
    if (!ForEachLine([&](const CContentLine& line) {
            if (!line.ToString(&lineText)) {
                return false;
            }
            DirectoryUtils::AppendFoldedLine(TrimWhiteSpace(lineText), kFoldBytes, kFoldBytes,
                                             &card);
            return true;
        })) {
        return false;
    }
    card += kVCardEnd;
    return card.ToUnicode(text) == 1;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABContact::FromString(const std::string& text)
try {
    const CFunctionDebugging scope("CPABContact::FromString");
    CTextLines lines;
    if (!ReadContentLines(&lines, text)) {
        return false;
    }
    if (!HasVCardEnvelope(lines)) {
        return Fail(ERROR_INVALID_DATA);
    }
    // What the contact held comes back where the text finds no memory.
    DirectoryUtils::CContentLines oldLines = std::move(m_lines);
    CContactEmailList oldEmails = std::move(m_emails);
    CContactTelList oldTelephones = std::move(m_telephones);
    CContactAddrList oldAddresses = std::move(m_addresses);
    CContactIMList oldIMs = std::move(m_ims);
    try {
        if (!TakeRecord(lines)) {
            return false;
        }
    } catch (const std::bad_alloc&) {
        m_lines = std::move(oldLines);
        m_emails = std::move(oldEmails);
        m_telephones = std::move(oldTelephones);
        m_addresses = std::move(oldAddresses);
        m_ims = std::move(oldIMs);
        throw;
    }
    m_isDirty = true;
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABContact::TakeRecord(const CTextLines& lines)
{
    ParseContentLines(lines);
    if (!IsSupportedCard()) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (const CContentLine* fullName = FindLine("FN")) {
        // The comment is set by a zero-ended text, which a zero in the line would cut.
        std::u16string comment = fullName->GetMainValue();
        std::replace(comment.begin(), comment.end(), u'\0', u'\uFFFD');
        for (CContactEmail& email : m_emails) {
            // The value of a line is always valid UTF-16, so only memory can be missing.
            if (!email.GetAddress().SetComment(comment.c_str())) {
                throw std::bad_alloc();
            }
        }
    }
    TakeNames();
    return true;
}
