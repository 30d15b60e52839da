#include "base/Table.h"

#include "base/Text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <unistd.h>

namespace
{

constexpr std::string_view kBold = "\x1B[1m";
constexpr std::string_view kYellow = "\x1B[33m";
constexpr std::string_view kPlain = "\x1B[0m";

std::string_view Variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::size_t ColumnsOf(UChar32 character)
{
    switch (u_charType(character)) {
    case U_NON_SPACING_MARK:
    case U_ENCLOSING_MARK:
    case U_FORMAT_CHAR:
        return 0;
    default:
        break;
    }
    const int width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

// A field in its colour, if any; the blanks behind it have none.
void AppendField(std::string_view field, std::string_view colour, std::size_t padding,
                 std::string* line)
{
    line->append(colour).append(field).append(colour.empty() ? "" : kPlain);
    line->append(padding, ' ');
}

} // namespace

CTableStyle StyleOfOutput()
{
    const std::string_view terminal = Variable("TERM");
    const bool isTerminal = isatty(STDOUT_FILENO) == 1;
    return {isTerminal,
            isTerminal && Variable("NO_COLOR").empty() && !terminal.empty() && terminal != "dumb"};
}

std::size_t ColumnsOf(std::string_view utf8)
{
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
    std::size_t columns = 0;
    for (std::int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
        columns += ColumnsOf(text.char32At(at));
    }
    return columns;
}

void CTable::Add(const std::vector<std::string>& fields)
{
    std::vector<std::string>& row = m_rows.emplace_back();
    for (const std::string& field : fields) {
        row.push_back(ToField(field));
    }
}

std::vector<std::size_t> CTable::WidthsOfColumns() const
{
    constexpr std::size_t kWidest = 40;
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < m_heads.size(); ++i) {
        std::size_t width = ColumnsOf(m_heads[i]);
        for (const std::vector<std::string>& row : m_rows) {
            width = std::max(width, std::min(ColumnsOf(row[i]), kWidest));
        }
        widths.push_back(width);
    }
    return widths;
}

std::string CTable::ToText(const CTableStyle& style) const
{
    std::string text;
    if (style.isAligned && !m_rows.empty()) {
        AppendAligned(style, &text);
        return text;
    }
    for (const std::vector<std::string>& row : m_rows) {
        for (const std::string& field : row) {
            text.append(field).append(1, &field == &row.back() ? '\n' : '\t');
        }
    }
    return text;
}

void CTable::AppendAligned(const CTableStyle& style, std::string* text) const
{
    constexpr std::size_t kGap = 2;
    const std::vector<std::size_t> widths = WidthsOfColumns();
    const auto append = [&](std::string_view field, std::size_t column, std::string_view colour) {
        const bool isLast = column + 1 == widths.size();
        const std::size_t columns = ColumnsOf(field);
        const std::size_t padding = isLast ? 0 : kGap + std::max(widths[column], columns) - columns;
        AppendField(field, style.isColoured ? colour : "", padding, text);
        text->append(isLast ? "\n" : "");
    };
    for (std::size_t i = 0; i < m_heads.size(); ++i) {
        append(m_heads[i], i, kBold);
    }
    for (const std::vector<std::string>& row : m_rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            append(row[i], i, i == m_idColumn ? kYellow : "");
        }
    }
}
