#include "core/ContactId.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace ContactMgr
{
namespace
{

constexpr char kSeparator = '-';

bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

} // namespace

CContactId::CContactId(const char* ns, std::uint32_t number)
    : m_text(ns == nullptr ? "" : ns), m_number(number), m_isNumeric(true)
{
    m_text += kSeparator;
    m_text += std::to_string(static_cast<std::int32_t>(number));
}

CContactId::CContactId(const char* text) : CContactId(std::string(text == nullptr ? "" : text)) {}

CContactId::CContactId(std::string text) : m_text(std::move(text))
{
    ReadNumber();
}

// Reads as strtoul does, which itself depends on the locale and is 64 bits wide here: of a local
// part without digits nothing is read, not even white space or a sign. An empty one is numeric.
void CContactId::ReadNumber()
{
    const std::size_t separator = m_text.find(kSeparator);
    if (separator == std::string::npos) {
        return;
    }
    const auto tail = m_text.cbegin() + static_cast<std::ptrdiff_t>(separator) + 1;
    const auto end = m_text.cend();
    auto next = std::find_if_not(tail, end, IsSpace);
    const bool isNegative = next != end && *next == '-';
    if (next != end && (*next == '-' || *next == '+')) {
        ++next;
    }
    const bool hasDigits = next != end && IsDigit(*next);
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
    std::uint64_t number = 0;
    for (; next != end && IsDigit(*next); ++next) {
        number = std::min(number * 10 + static_cast<std::uint64_t>(*next - '0'), kLargest + 1);
    }
    m_isNumeric = (hasDigits ? next : tail) == end;
    if (number > kLargest) {
        m_number = static_cast<std::uint32_t>(kLargest);
    } else {
        m_number = static_cast<std::uint32_t>(isNegative ? 0 - number : number);
    }
}

std::string_view CContactId::NamespaceView() const
{
    const std::size_t separator = m_text.find(kSeparator);
    return std::string_view(m_text).substr(0, separator == std::string::npos ? 0 : separator);
}

std::string CContactId::Namespace() const
{
    return std::string(NamespaceView());
}

bool CContactId::SamePlugin(const CContactId& other) const
{
    return NamespaceView() == other.NamespaceView();
}

} // namespace ContactMgr
