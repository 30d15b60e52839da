#include "intake/CsvReader.h"

#include "base/Text.h"
#include "intake/CardReader.h"
#include "intake/CsvHeadings.h"
#include "platform/LastError.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr std::string_view kSeparators = ",;\t";

// Takes the fields of one record apart, byte by byte. A value.
class CRecordParser
{
public:
    explicit CRecordParser(char separator) : m_separator(separator), m_fields(1) {}

    // False behind the end of the record.
    bool Take(char c)
    {
        const bool wasQuote = std::exchange(m_isQuoteOpen, false);
        if (m_isQuoted && c == '"') {
            m_isQuoted = false;
            m_isQuoteOpen = true;
            return true;
        }
        if (m_isQuoted) {
            return Append(c);
        }
        if (c == '"' && (wasQuote || m_fields.back().empty())) {
            m_isQuoted = true;
            return !wasQuote || Append(c);
        }
        if (c == '\r' || c == '\n') {
            return false;
        }
        if (c == m_separator) {
            return Divide();
        }
        return Append(c);
    }

    // A quote that nothing closes may hold a whole file.
    bool IsTooLarge() const { return m_bytes > CCardReader::kMaxCardBytes; }
    std::vector<std::string>& Fields() { return m_fields; }

private:
    bool Append(char c)
    {
        if (!IsTooLarge()) {
            m_fields.back() += c;
            ++m_bytes;
        }
        return true;
    }

    // Empty fields take memory too.
    bool Divide()
    {
        if (!IsTooLarge()) {
            m_fields.emplace_back();
            m_bytes += sizeof(std::string);
        }
        return true;
    }

    char m_separator;
    bool m_isQuoted = false;
    bool m_isQuoteOpen = false; // the byte before was a quote that may be the first of two
    std::size_t m_bytes = 0;
    std::vector<std::string> m_fields;
};

std::vector<std::string> HeadingsOf(std::string_view head, char separator)
{
    CRecordParser parser(separator);
    for (std::size_t i = 0; i < head.size() && parser.Take(head[i]); ++i) {
    }
    std::ranges::transform(parser.Fields(), parser.Fields().begin(),
                           [](const std::string& field) { return NormalHeading(field); });
    return std::move(parser.Fields());
}

std::ptrdiff_t CountKnown(std::string_view head, char separator)
{
    return std::ranges::count_if(HeadingsOf(head, separator), IsKnownHeading);
}

char SeparatorOf(std::string_view head)
{
    return *std::ranges::max_element(
        kSeparators, {}, [head](char separator) { return CountKnown(head, separator); });
}

} // namespace

bool CCsvReader::IsBeginning(std::string_view head)
{
    constexpr std::ptrdiff_t kEnough = 2;
    return CountKnown(head, SeparatorOf(head)) >= kEnough;
}

CCsvReader::CCsvReader(CInputText& input) : m_input(input), m_separator(SeparatorOf(input.Rest()))
{
    bool isWhole = false;
    ReadRecord(&m_headings, &isWhole);
    std::ranges::transform(m_headings, m_headings.begin(),
                           [](const std::string& heading) { return NormalHeading(heading); });
}

bool CCsvReader::ReadRecord(std::vector<std::string>* fields, bool* isWhole)
{
    CRecordParser parser(m_separator);
    bool isThere = false;
    for (std::string_view rest = m_input.Rest(); !rest.empty(); rest = m_input.Rest()) {
        std::size_t used = 0;
        bool goesOn = true;
        while (goesOn && used < rest.size()) {
            goesOn = parser.Take(rest[used++]);
            isThere = isThere || goesOn;
        }
        m_input.Take(used);
        // Empty lines, and the LF behind a CR, end no record.
        if (!goesOn && isThere) {
            break;
        }
    }
    *fields = std::move(parser.Fields());
    *isWhole = !parser.IsTooLarge();
    return isThere;
}

bool CCsvReader::Next(CImportCard* card)
{
    std::vector<std::string> fields;
    bool isWhole = true;
    CFieldCard made;
    do {
        *card = CImportCard();
        if (!ReadRecord(&fields, &isWhole)) {
            return false;
        }
        for (std::string& field : fields) {
            field = UnifyLineBreaks(DecodeUnknown(std::move(field), card));
        }
        AddCsvFields(m_headings, fields, &made);
    } while (made.IsEmpty() && isWhole);
    card->number = ++m_count;
    if (!isWhole) {
        card->fault = "larger than 32 MB";
        card->faultCode = ERROR_FILE_TOO_LARGE;
        return true;
    }
    card->card = made.Card();
    FitToStore(card);
    return true;
}
