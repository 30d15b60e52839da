#include "directory/NameContentLine.h"
#include "pab/PABContactLines.h"
#include "platform/Failure.h"
#include "text/Utf8String.h"
#include "trace/FunctionDebugging.h"

#include <new>
#include <utility>

inline namespace contactmgr_internal
{

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
    CUtf8String card;
    card.reserve(SizeOfText());
    card.append(kVCardBegin);
    if (!ForEachLine([&card](std::string_view line) {
            DirectoryUtils::AppendFoldedLine(TrimWhiteSpace(line), kFoldBytes, kFoldBytes, &card);
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
    CCardLines lines;
    if (!ReadContentLines(&lines, {text.begin(), text.end()})) {
        return false;
    }
    if (!lines.RemoveEnvelope()) {
        return Fail(ERROR_INVALID_DATA);
    }
    ParseContentLines(&lines);
    const bool isSupported = IsSupportedCard(lines);
    // The last step that may find no memory.
    KeepNames();
    m_comment = isSupported ? lines.GetValue("FN") : std::nullopt;
    m_lines = std::move(lines);
    m_name.reset();
    m_emails.RemoveAll();
    m_telephones.RemoveAll();
    m_addresses.RemoveAll();
    m_ims.RemoveAll();
    if (!isSupported) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    m_isDirty = true;
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

} // namespace contactmgr_internal
