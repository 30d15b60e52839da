#include "intake/CardReader.h"

#include "base/Text.h"
#include "directory/ContentLine.h"
#include "directory/EmailContentLine.h"
#include "directory/TextLines.h"
#include "intake/LooseLine.h"
#include "platform/LastError.h"

#include <algorithm>

namespace
{

constexpr std::size_t kHeadBytes = 128;
// Longer beginnings are not looked through for a colon again at each fold.
constexpr std::size_t kMaxFoldedHead = 8 << 10;
constexpr std::string_view kFoldBlanks = " \t";
constexpr std::string_view kBase64Characters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";

// The beginning of a line in capitals, without blanks at its end.
std::string Head(std::string_view line)
{
    std::string head = UpperText(line.substr(0, kHeadBytes));
    head.erase(head.find_last_not_of(kFoldBlanks) + 1);
    return head;
}

bool IsBorder(std::string_view line)
{
    const std::string head = Head(line);
    return head == "BEGIN:VCARD" || head == "END:VCARD";
}

} // namespace

CCardReader::EEncoding CCardReader::EncodingOf(std::string_view line)
{
    const std::size_t colon = line.find(':');
    if (colon == line.npos) {
        return EEncoding::kUnknown;
    }
    CVCardLine read;
    if (line.find(';') > colon || !ReadLooseLine(line, &read)) {
        return EEncoding::kPlain;
    }
    return IsQuotedPrintable(read) ? EEncoding::kQuotedPrintable
           : IsInBase64(read)      ? EEncoding::kBase64
                                   : EEncoding::kPlain;
}

bool CCardReader::PeekPhysicalLine()
{
    m_hasNext = m_hasNext || m_input.TakeLine(kMaxCardBytes + 1, &m_next);
    return m_hasNext;
}

// Empty lines do not count. False at the end of the file.
bool CCardReader::PeekLine()
{
    while (PeekPhysicalLine() && m_next.empty()) {
        m_hasNext = false;
    }
    return m_hasNext;
}

void CCardReader::Append(std::string_view text)
{
    if (m_line.size() <= kMaxCardBytes) {
        m_line.append(text);
    }
    m_hasNext = false;
}

// Joins a line of quoted-printable with the one behind its soft line break. A break in front of
// the card's end is none: some phones cut long values there.
bool CCardReader::JoinSoft()
{
    m_line.pop_back();
    if (!PeekPhysicalLine() || IsBorder(m_next)) {
        return false;
    }
    const bool goesOn = !m_next.empty();
    Append(m_next);
    return goesOn;
}

bool CCardReader::JoinNext(EEncoding* encoding)
{
    if (*encoding == EEncoding::kUnknown) {
        *encoding = m_line.size() > kMaxFoldedHead ? EEncoding::kPlain : EncodingOf(m_line);
    }
    if (*encoding == EEncoding::kQuotedPrintable && m_line.ends_with('=')) {
        if (!JoinSoft()) {
            *encoding = EEncoding::kPlain;
        }
        return true;
    }
    if (!PeekLine()) {
        return false;
    }
    const std::string_view next = m_next;
    if (kFoldBlanks.find(next.front()) != kFoldBlanks.npos) {
        Append(next.substr(1));
        return true;
    }
    const bool isJoined = *encoding == EEncoding::kQuotedPrintable ? next.starts_with('=')
                          : *encoding == EEncoding::kBase64
                              ? next.find_first_not_of(kBase64Characters) == next.npos
                              : false;
    if (isJoined) {
        Append(next);
    }
    return isJoined;
}

// Reads the next line with its continuations, unless the one that was read is still to be used.
bool CCardReader::ReadLine()
{
    if (!m_isLineUsed) {
        m_isLineUsed = true;
        return true;
    }
    if (!PeekLine()) {
        return false;
    }
    m_line.swap(m_next);
    m_hasNext = false;
    if (m_line.starts_with(kByteOrderMark)) {
        m_line.erase(0, kByteOrderMark.size());
    }
    EEncoding encoding = EEncoding::kUnknown;
    while (JoinNext(&encoding)) {
    }
    m_head = Head(m_line);
    return true;
}

bool CCardReader::IsEmptyAgentLine() const
{
    return m_head.starts_with("AGENT") && m_head.ends_with(':');
}

void CCardReader::AppendLineTo(CCard* card)
{
    if (card->fault != nullptr) {
        return;
    }
    if (card->text.size() + m_line.size() > kMaxCardBytes || ++m_lineCount > kMaxCardLines) {
        card->fault = m_lineCount > kMaxCardLines ? "more than 200,000 lines" : "larger than 32 MB";
        card->faultCode = ERROR_FILE_TOO_LARGE;
        card->text = std::string();
        return;
    }
    card->text.append(m_line).append(1, '\n');
}

bool CCardReader::Next(CCard* card)
{
    do {
        if (!ReadLine()) {
            return false;
        }
    } while (!IsLine("BEGIN:VCARD"));

    *card = CCard();
    card->number = ++m_count;
    m_lineCount = 0;
    AppendLineTo(card);
    std::size_t depth = 1;
    bool isBehindAgent = false;
    while (ReadLine()) {
        if (IsLine("BEGIN:VCARD")) {
            if (!isBehindAgent) {
                m_isLineUsed = false;
                break;
            }
            ++depth;
        }
        AppendLineTo(card);
        if (IsLine("END:VCARD") && --depth == 0) {
            return true;
        }
        isBehindAgent = IsEmptyAgentLine();
    }
    if (card->fault == nullptr) {
        card->fault = "no END:VCARD";
        card->faultCode = ERROR_INVALID_DATA;
    }
    return true;
}

namespace
{

// An EMAIL line that holds anything else becomes an entry without an address.
bool IsAddress(const std::u16string& value)
{
    const VCardUtils::CEmailContentLine line({}, {}, value);
    return *line.GetEmail().GetAddress().RawAddress() != '\0';
}

} // namespace

std::vector<std::string> FindForeignLines(std::string_view card)
{
    std::vector<std::string> foreign;
    std::string group;
    std::string name;
    DirectoryUtils::CParameters parameters;
    std::u16string value;
    const CTextLines lines{std::string(card)};
    for (const std::string_view line : lines.Lines()) {
        if (!DirectoryUtils::CContentLine::Parse(line, &group, &name, &parameters, &value) ||
            (name == "EMAIL" && !IsAddress(value))) {
            foreign.emplace_back(line);
        }
    }
    return foreign;
}
