#include "exchange/CardReader.h"

#include "directory/ContentLine.h"
#include "directory/EmailContentLine.h"
#include "directory/TextLines.h"
#include "platform/Ascii.h"
#include "platform/LastError.h"

#include <algorithm>

namespace
{

constexpr std::size_t kBufferBytes = 64 << 10;
constexpr std::size_t kHeadBytes = 128;
constexpr std::string_view kLineEnds = "\r\n";
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool IsOneOf(std::string_view set, char c)
{
    return set.find(c) != set.npos;
}

void TrimEnd(std::string* text)
{
    text->erase(text->find_last_not_of(kBlanks) + 1);
}

// A logical line without its folds, up to a number of bytes.
std::string Unfold(std::string_view line, std::size_t maxBytes)
{
    std::string unfolded;
    while (!line.empty() && unfolded.size() < maxBytes) {
        const std::size_t end = std::min(line.find_first_of(kLineEnds), line.size());
        unfolded.append(line, 0, std::min(end, maxBytes - unfolded.size()));
        line.remove_prefix(std::min(line.find_first_not_of(kLineEnds, end), line.size()));
        if (!line.empty()) {
            line.remove_prefix(1);
        }
    }
    return unfolded;
}

std::string Head(std::string_view line)
{
    std::string head = Unfold(line, kHeadBytes);
    std::ranges::transform(head, head.begin(), UpperAscii<char>);
    TrimEnd(&head);
    return head;
}

} // namespace

CCardReader::CCardReader(std::FILE* file) : m_file(file), m_buffer(kBufferBytes)
{
    Fill();
}

bool CCardReader::IsUtf16() const
{
    const std::string_view text(m_buffer.data() + m_begin, m_end - m_begin);
    using namespace std::string_view_literals;
    return text.starts_with("\xFF\xFE"sv) || text.starts_with("\xFE\xFF"sv) ||
           text.starts_with("B\0"sv) || text.starts_with("\0B"sv);
}

// Whether there is anything left to read.
bool CCardReader::Fill()
{
    if (m_begin == m_end) {
        m_begin = 0;
        m_end = std::fread(m_buffer.data(), 1, m_buffer.size(), m_file);
    }
    return m_begin < m_end;
}

// Empty lines do not count. False at the end of the file.
bool CCardReader::SkipLineEnds()
{
    while (Fill()) {
        if (!IsOneOf(kLineEnds, m_buffer[m_begin])) {
            return true;
        }
        ++m_begin;
    }
    return false;
}

void CCardReader::ReadPhysicalLine()
{
    const auto bufferAt = [this](std::size_t index) {
        return m_buffer.begin() + static_cast<std::ptrdiff_t>(index);
    };
    while (Fill()) {
        const auto end = std::find_first_of(bufferAt(m_begin), bufferAt(m_end), kLineEnds.begin(),
                                            kLineEnds.end());
        if (m_line.size() <= kMaxCardBytes) {
            m_line.append(bufferAt(m_begin), end);
        }
        m_begin = static_cast<std::size_t>(end - m_buffer.begin());
        if (m_begin < m_end) {
            break;
        }
    }
    m_line += kLineEnds;
}

// Reads the next line with its continuations, unless the one that was read is still to be used.
bool CCardReader::ReadLine()
{
    if (!m_isLineUsed) {
        m_isLineUsed = true;
        return true;
    }
    m_line.clear();
    if (!SkipLineEnds()) {
        return false;
    }
    ReadPhysicalLine();
    if (m_line.starts_with(kByteOrderMark)) {
        m_line.erase(0, kByteOrderMark.size());
    }
    while (SkipLineEnds() && IsOneOf(kBlanks, m_buffer[m_begin])) {
        ReadPhysicalLine();
    }
    m_head = Head(m_line);
    return true;
}

bool CCardReader::IsLine(std::string_view text) const
{
    return m_head == text;
}

bool CCardReader::IsEmptyAgentLine() const
{
    return m_head.starts_with("AGENT") && m_head.ends_with(':');
}

// Lines of blanks behind a card are not part of it.
void CCardReader::DropBlankContinuations()
{
    const std::size_t end = m_line.find(kLineEnds) + kLineEnds.size();
    if (IsLine(Head(m_line.substr(0, end)))) {
        m_line.resize(end);
    }
}

void CCardReader::AppendLineTo(CCard* card) const
{
    if (card->fault == nullptr && card->text.size() + m_line.size() > kMaxCardBytes) {
        card->fault = "larger than 32 MB";
        card->faultCode = ERROR_FILE_TOO_LARGE;
        card->text.clear();
    }
    if (card->fault == nullptr) {
        card->text += m_line;
    }
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
        const bool isEnd = IsLine("END:VCARD") && --depth == 0;
        if (isEnd) {
            DropBlankContinuations();
        }
        AppendLineTo(card);
        if (isEnd) {
            return true;
        }
        if (card->version.empty() && m_head.starts_with("VERSION:")) {
            card->version = m_head.substr(m_head.find(':') + 1);
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
