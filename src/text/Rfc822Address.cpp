#include "text/Rfc822Address.h"

#include "platform/Failure.h"
#include "text/AddressReader.h"
#include "text/AddressSyntax.h"
#include "text/EncodedWords.h"
#include "text/Utf8.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

namespace
{

// The comment in UTF-8 on one line. Of the control characters quotes may hold tabs only.
std::string CommentLine(std::u16string_view comment)
{
    std::string line;
    WideToUtf8(comment, &line);
    std::replace_if(line.begin(), line.end(), IsUnquotable, ' ');
    return line;
}

bool HasUnpairedSurrogate(std::u16string_view text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((text[i] & 0xF800) != 0xD800) {
            continue;
        }
        const bool leads = text[i] < 0xDC00;
        if (!leads || i + 1 == text.size() || (text[i + 1] & 0xFC00) != 0xDC00) {
            return true;
        }
        ++i;
    }
    return false;
}

} // namespace

CRfc822Address& CRfc822Address::operator=(const CRfc822Address& other)
{
    CRfc822Address copy(other);
    Swap(copy);
    return *this;
}

CRfc822Address& CRfc822Address::operator=(CRfc822Address&& other) noexcept
{
    CRfc822Address taken(std::move(other));
    Swap(taken);
    return *this;
}

void CRfc822Address::Swap(CRfc822Address& other) noexcept
{
    m_text.swap(other.m_text);
    std::swap(m_domainStart, other.m_domainStart);
    std::swap(m_nameStart, other.m_nameStart);
    m_comment.swap(other.m_comment);
    m_encodedComment.swap(other.m_encodedComment);
    m_rawFullAddress.swap(other.m_rawFullAddress);
}

void CRfc822Address::SetParts(std::string_view encodedName, std::string_view domain)
{
    std::string text;
    text.reserve(2 * encodedName.size() + domain.size() + 2);
    text += encodedName;
    if (!domain.empty()) {
        text += '@';
    }
    const std::size_t domainStart = text.size();
    text += domain;
    text += '\0';
    const std::size_t nameStart = text.size();
    text += encodedName;

    m_text.swap(text);
    m_domainStart = domainStart;
    m_nameStart = nameStart;
    m_rawFullAddress.clear();
}

void CRfc822Address::Take(const CMailboxText& mailbox)
{
    CRfc822Address taken;
    taken.SetParts(EncodeLocalPart(mailbox.localPart), mailbox.domain);
    taken.m_comment = Utf8ToWideLossy(mailbox.displayName);
    Swap(taken);
}

bool CRfc822Address::Parse(const char* text)
try {
    if (text == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    // Nearly all addresses of an address book are plain name@domain.
    const std::string_view whole = text;
    const std::size_t at = whole.find('@');
    if (at != std::string_view::npos && IsDotAtom(whole.substr(0, at)) &&
        IsDotAtom(whole.substr(at + 1)) && IsUtf8(whole)) {
        SetParts(whole.substr(0, at), whole.substr(at + 1));
        m_comment.clear();
        m_encodedComment.clear();
        return true;
    }
    CMailboxText mailbox;
    if (!CAddressReader(whole).ReadMailbox(&mailbox)) {
        return Fail(ERROR_INVALID_DATA);
    }
    Take(mailbox);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CRfc822Address::SetName(const char* name)
try {
    if (name == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::string_view localPart = name;
    if (localPart.empty() || std::any_of(localPart.begin(), localPart.end(), IsControl) ||
        !IsUtf8(localPart)) {
        return Fail(ERROR_INVALID_DATA);
    }
    SetParts(EncodeLocalPart(localPart), EncodedDomain());
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CRfc822Address::SetDomain(const char* domain)
try {
    if (domain == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if ((!IsDotAtom(domain) && !IsDomainLiteral(domain)) || !IsUtf8(domain)) {
        return Fail(ERROR_INVALID_DATA);
    }
    SetParts(EncodedName(), domain);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CRfc822Address::SetComment(const char16_t* comment)
try {
    const std::u16string_view text = comment == nullptr ? u"" : comment;
    if (HasUnpairedSurrogate(text)) {
        return Fail(ERROR_INVALID_DATA);
    }
    m_comment = text;
    m_encodedComment.clear();
    m_rawFullAddress.clear();
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

const char* CRfc822Address::EncodedComment() const
try {
    if (m_encodedComment.empty() && HasComment()) {
        const std::string line = CommentLine(m_comment);
        m_encodedComment = IsAscii(line) ? EncodePhrase(line) : EncodeWords(line);
    }
    return m_encodedComment.c_str();
} catch (const std::bad_alloc&) {
    FailForMemory();
    return "";
}

const char* CRfc822Address::RawFullAddress() const
try {
    if (!HasComment()) {
        return RawAddress();
    }
    if (m_rawFullAddress.empty()) {
        std::string full = EncodePhrase(CommentLine(m_comment));
        full += " <";
        full += RawAddress();
        full += '>';
        m_rawFullAddress.swap(full);
    }
    return m_rawFullAddress.c_str();
} catch (const std::bad_alloc&) {
    FailForMemory();
    return "";
}

bool CRfc822AddressList::Parse(const char* text)
try {
    if (text == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    std::vector<CMailboxText> mailboxes;
    if (!CAddressReader(text).ReadList(&mailboxes)) {
        return Fail(ERROR_INVALID_DATA);
    }
    CList<CRfc822Address> addresses;
    for (const CMailboxText& mailbox : mailboxes) {
        addresses.GetAt(addresses.AddTail(CRfc822Address())).Take(mailbox);
    }
    m_addresses = std::move(addresses);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

CRfc822Address CRfc822AddressList::GetNext(POSITION& position) const
try {
    return m_addresses.GetNext(position);
} catch (const std::bad_alloc&) {
    FailForMemory();
    return {};
}
