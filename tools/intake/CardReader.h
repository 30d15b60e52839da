#pragma once

#include "intake/InputText.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One card of a file, from BEGIN:VCARD to END:VCARD. A value.
struct CCard
{
    std::size_t number = 0;      // counted from 1 in its file
    std::string text;            // its lines without their folds, each ended by one LF
    const char* fault = nullptr; // why it is no whole card; null if it is one
    std::uint32_t faultCode = 0; // the library's number for that
};

// Reads a file of vCards of any version card by card, with memory for one card. A line ends with
// CR, LF or both. It is continued if the next one begins with a blank or a tab (RFC 2425, 5.8.1),
// and as vCard 2.1 has it: quoted-printable that ends with "=", and base64 that is not indented.
// Lines between cards are ignored. A BEGIN line inside a card begins a part of it if the line
// before is an empty AGENT line (vCard 2.1). Otherwise the END line of the card is missing.
class CCardReader
{
public:
    // A larger card is not kept and has a fault.
    static constexpr std::size_t kMaxCardBytes = 32u << 20;
    static constexpr std::size_t kMaxCardLines = 200'000;

    // The text stays the caller's.
    explicit CCardReader(CInputText& input) : m_input(input) {}
    CCardReader(const CCardReader&) = delete;
    CCardReader& operator=(const CCardReader&) = delete;

    // False at the end of the file, and if the file cannot be read any further.
    bool Next(CCard* card);

private:
    enum class EEncoding
    {
        kUnknown, // the line has no colon yet
        kPlain,
        kQuotedPrintable,
        kBase64
    };
    bool PeekPhysicalLine();
    bool PeekLine();
    bool ReadLine();
    bool JoinNext(EEncoding* encoding);
    bool JoinSoft();
    void Append(std::string_view text);
    static EEncoding EncodingOf(std::string_view line);
    bool IsLine(std::string_view text) const { return m_head == text; }
    bool IsEmptyAgentLine() const;
    void AppendLineTo(CCard* card);

    CInputText& m_input;
    std::string m_next; // the physical line behind m_line
    bool m_hasNext = false;
    std::string m_line; // one line with its continuations
    std::string m_head; // its beginning, in capitals, without blanks at the end
    bool m_isLineUsed = true;
    std::size_t m_lineCount = 0;
    std::size_t m_count = 0;
};

// The lines of a card that the library cannot keep, unfolded: those that are no content lines, and
// EMAIL lines without a mail address.
std::vector<std::string> FindForeignLines(std::string_view card);
