#include "text/SenderReader.h"

#include "platform/Failure.h"
#include "text/AddressReader.h"
#include "text/AddressSyntax.h"
#include "text/EncodedWords.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

bool IsMailbox(std::string_view text)
{
    CMailboxText mailbox;
    return CAddressReader(text).ReadMailbox(&mailbox);
}

// One pass over a field that is not of the grammar. Quoted strings and encoded words are stepped
// over, whatever stands in them. A quote that nobody closes is text.
class CFieldScan
{
public:
    explicit CFieldScan(std::string_view field) : m_field(field) {}

    // False unless the field names exactly one address, in angle brackets at its end.
    bool FindAddress()
    {
        while (m_position < m_field.size()) {
            const char c = m_field[m_position];
            if (c == ',' || c == ';') {
                EndElement();
                m_element = ++m_position;
            } else if (c != '<' || !StepOverAddress()) {
                m_position += TokenLength();
            }
        }
        EndElement();
        return m_addresses == 1 && !m_address.empty() && IsNothing(m_field.substr(m_end));
    }

    // The address with its brackets.
    std::string_view Address() const { return m_address; }

    // What stands in front of the address, on one line, without quotes and decoded.
    std::string Name() const;

private:
    static bool IsNothing(std::string_view text)
    {
        return text.find_first_not_of(" \t,") == text.npos;
    }

    // The length of the quoted string, encoded word or single character at the position.
    std::size_t TokenLength()
    {
        const std::string_view rest = m_field.substr(m_position);
        std::size_t length = EncodedWordLength(rest);
        if (length == 0 && rest.front() == '"' && !m_isQuoteOpen) {
            length = QuotedLength(rest);
            m_isQuoteOpen = length == 0;
        }
        return std::max<std::size_t>(length, 1);
    }

    // 0: never closed.
    static std::size_t QuotedLength(std::string_view text)
    {
        for (std::size_t i = 1; i < text.size(); ++i) {
            if (text[i] == '"') {
                return i + 1;
            }
            i += text[i] == '\\' ? 1u : 0u;
        }
        return 0;
    }

    bool StepOverAddress()
    {
        const std::size_t end = m_field.find_first_of("<>", m_position + 1);
        if (end == m_field.npos || m_field[end] != '>') {
            return false;
        }
        const std::string_view address = m_field.substr(m_position, end + 1 - m_position);
        if (!IsMailbox(address)) {
            return false;
        }
        ++m_addresses;
        m_address = address;
        m_position = m_end = end + 1;
        return true;
    }

    // Counts an address without brackets that is an element of a list.
    void EndElement()
    {
        if (m_end <= m_element && IsMailbox(m_field.substr(m_element, m_position - m_element))) {
            ++m_addresses;
        }
    }

    const std::string_view m_field;
    std::size_t m_position = 0;
    std::size_t m_element = 0; // where the present element of the list begins
    std::size_t m_end = 0;     // behind the last address in brackets
    std::size_t m_addresses = 0;
    std::string_view m_address;
    bool m_isQuoteOpen = false;
};

std::string CFieldScan::Name() const
{
    CFieldScan front(m_field.substr(0, m_end - m_address.size()));
    std::string text;
    for (std::size_t length = 0; front.m_position < front.m_field.size();
         front.m_position += length) {
        length = front.TokenLength();
        const std::string_view token = front.m_field.substr(front.m_position, length);
        text += length > 1 && token.front() == '"' ? Unquote(token.substr(1, length - 2))
                                                   : std::string(token);
    }
    std::string name = DecodeEncodedWordsAnywhere(text);
    std::replace_if(name.begin(), name.end(), IsControl, ' ');
    // A quote at an end has lost its other half.
    constexpr std::string_view kBorder = " \"";
    name.erase(0, std::min(name.find_first_not_of(kBorder), name.size()));
    name.erase(name.find_last_not_of(kBorder) + 1);
    return name;
}

} // namespace

bool ReadSender(const char* field, CRfc822Address* sender)
{
    const std::uint32_t before = GetLastError();
    CRfc822Address read;
    const bool isParsed = read.Parse(field);
    if (!isParsed && GetLastError() != ERROR_INVALID_DATA) {
        return false;
    }
    // Of most fields nothing is left to decode.
    const bool isDecoded =
        isParsed && std::u16string_view(read.GetComment()).find(u"=?") == std::u16string_view::npos;
    CFieldScan scan(field);
    if (!isDecoded && scan.FindAddress()) {
        if (!read.Parse(std::string(scan.Address()).c_str()) ||
            !read.SetComment(Utf8ToWideLossy(scan.Name()).c_str())) {
            return false;
        }
    } else if (!isParsed) {
        return false;
    }
    SetLastError(before);
    *sender = std::move(read);
    return true;
}

} // namespace contactmgr_internal
