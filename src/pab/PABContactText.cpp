#include "pab/PABContactLines.h"
#include "pab/TextLines.h"
#include "server/FunctionDebugging.h"
#include "server/Utf8String.h"

#include <new>

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
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
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
        SetLastError(ERROR_INVALID_DATA);
        return false;
    }
    RemoveAllLines();
    ParseContentLines(lines);
    if (!LinesHaveValue("PROFILE", u"VCARD") || !LinesHaveValue("VERSION", u"3.0")) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    TakeNames();
    if (const CContentLine* fullName = FindLine("FN")) {
        for (CContactEmail& email : GetEmails()) {
            CRfc822Address address = email.GetAddress();
            if (address.SetComment(fullName->GetMainValue().c_str())) {
                email.SetAddress(address);
            }
        }
    }
    m_isDirty = true;
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

void CPABContact::RemoveAllLines()
{
    m_lines.DeleteAll();
    GetEmails().RemoveAll();
    GetTelephones().RemoveAll();
    GetAddresses().RemoveAll();
    GetIMs().RemoveAll();
}
