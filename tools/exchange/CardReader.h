#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

// One card of a file, from BEGIN:VCARD to END:VCARD. A value.
struct CCard
{
    std::size_t number = 0;      // counted from 1 in its file
    std::string text;            // as it stands in the file, but each line ended by one CR LF
    std::string version;         // the value of its first VERSION line
    const char* fault = nullptr; // why it is no whole card; null if it is one
    std::uint32_t faultCode = 0; // the library's number for that
};

// Reads a file of vCards card by card, with memory for one card. A line ends with CR, LF or both.
// It is continued if the next one begins with a blank or a tab (RFC 2425, 5.8.1). Lines between
// cards are ignored. A BEGIN line inside a card begins a part of it if the line before is an empty
// AGENT line (vCard 2.1). Otherwise the END line of the card is missing.
class CCardReader
{
public:
    // A larger card is not kept and has a fault.
    static constexpr std::size_t kMaxCardBytes = 32u << 20;

    // The file stays the caller's.
    explicit CCardReader(std::FILE* file);
    CCardReader(const CCardReader&) = delete;
    CCardReader& operator=(const CCardReader&) = delete;

    // Whether the file begins as UTF-16 text does; no card is found in such a file.
    bool IsUtf16() const;

    // False at the end of the file, and if the file cannot be read any further.
    bool Next(CCard* card);

private:
    bool Fill();
    bool SkipLineEnds();
    void ReadPhysicalLine();
    bool ReadLine();
    bool IsLine(std::string_view text) const;
    bool IsEmptyAgentLine() const;
    void DropBlankContinuations();
    void AppendLineTo(CCard* card) const;

    std::FILE* m_file;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::string m_line; // one line with its continuations, as they stand in the file
    std::string m_head; // its beginning, unfolded, in capitals, without blanks at the end
    bool m_isLineUsed = true;
    std::size_t m_count = 0;
};

// The lines of a card that the library cannot keep, unfolded: those that are no content lines, and
// EMAIL lines without a mail address.
std::vector<std::string> FindForeignLines(std::string_view card);
