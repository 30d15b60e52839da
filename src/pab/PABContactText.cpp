#include "directory/ContentLineSyntax.h"
#include "directory/TextLines.h"
#include "pab/PABContactLines.h"
#include "platform/Failure.h"
#include "text/Utf8String.h"
#include "trace/FunctionDebugging.h"

#include <new>
#include <utility>

using DirectoryUtils::CContentLine;

namespace
{

// The tab in front of a continuation is not counted.
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
    std::string lineText;
    if (!ForEachLine([&](const CContentLine& line) {
            lineText.clear();
            if (!DirectoryUtils::AppendLine(line, &lineText)) {
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
    // If memory is exhausted on the way, the contact gets back what it held.
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
        for (CContactEmail& email : m_emails) {
            VCardUtils::CEmailContentLine::SetComment(fullName->GetMainValue(), &email);
        }
    }
    TakeNames();
    return true;
}
