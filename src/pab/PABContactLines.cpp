#include "pab/PABContactLines.h"

#include "directory/TextLines.h"
#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "trace/FunctionDebugging.h"

#include <algorithm>
#include <limits>

using DirectoryUtils::CContentLine;

namespace
{

bool IsSpace(char16_t c)
{
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

} // namespace

bool HasVCardEnvelope(const CTextLines& lines)
{
    return lines.Lines().size() >= 2 && EqualIgnoringCase(lines.Lines().front(), "BEGIN:VCARD") &&
           EqualIgnoringCase(lines.Lines().back(), "END:VCARD");
}

std::int32_t ToNumber(std::u16string_view text)
{
    while (!text.empty() && IsSpace(text.front())) {
        text.remove_prefix(1);
    }
    const bool isNegative = text.starts_with(u'-');
    if (isNegative || text.starts_with(u'+')) {
        text.remove_prefix(1);
    }
    constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
    std::int64_t number = 0;
    for (const char16_t c : text) {
        if (c < u'0' || c > u'9') {
            break;
        }
        number = std::min(number * 10 + (c - u'0'), kLargest + 1);
    }
    return static_cast<std::int32_t>(isNegative ? -number : std::min(number, kLargest));
}

CContentLine& CPABContact::AddLine(std::unique_ptr<CContentLine> line)
{
    m_lines.AddTail(line.get());
    return *line.release();
}

CContentLine* CPABContact::FindLine(const char* name) const
{
    POSITION position = m_lines.Find(name);
    return position == nullptr ? nullptr : m_lines.GetAt(position);
}

CContentLine& CPABContact::FindOrAddLine(const char* name)
{
    CContentLine* line = FindLine(name);
    return line != nullptr ? *line : AddLine(Make<CContentLine>(name));
}

VCardUtils::CNameContentLine* CPABContact::GetName() const
{
    const CFunctionDebugging scope("CPABContact::GetName");
    // Every line of this name was made as one of this class.
    return static_cast<VCardUtils::CNameContentLine*>(FindLine("N"));
}

VCardUtils::CNameContentLine& CPABContact::GetOrAddName()
{
    if (VCardUtils::CNameContentLine* name = GetName()) {
        return *name;
    }
    return static_cast<VCardUtils::CNameContentLine&>(
        AddLine(Make<VCardUtils::CNameContentLine>()));
}
