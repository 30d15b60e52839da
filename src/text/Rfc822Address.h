#pragma once

#include "platform/List.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <string>
#include <string_view>

struct CMailboxText;

// One mail address (RFC 5322, 3.4) with a comment, its display name. A value; a new one is empty.
//
// Narrow text is UTF-8 (RFC 6532). Returned pointers are never null and stay good until the object
// changes or goes. Forms that are asked for seldom are made at the first call, so that a const
// object, too, belongs to one thread at a time; one that finds no memory is empty, last error 8.
class CRfc822Address : public CTracedAllocation
{
public:
    CRfc822Address() = default;
    CRfc822Address(const CRfc822Address&) = default;
    CRfc822Address(CRfc822Address&& other) noexcept { Swap(other); }
    CRfc822Address& operator=(const CRfc822Address& other);
    CRfc822Address& operator=(CRfc822Address&& other) noexcept;
    ~CRfc822Address() = default;

    // Reads exactly one mailbox with a local part and a domain. The comment becomes the display
    // name, with encoded words (RFC 2047) decoded, or else what stands in parentheses behind the
    // address. Folding, comments, routes and blanks around dots (RFC 5322, 4.4) are read and
    // dropped. All else, groups and several addresses among it, fails with last error 13 and
    // leaves the object as it was. Last error 87: text is null.
    bool Parse(const char* text);

    // The local part and the domain, in plain form, without quotes. Refused with last error 13,
    // and left as they were: empty text, control characters, bytes that are no UTF-8, and a domain
    // that is neither atoms divided by dots nor a literal in brackets. Last error 87: text is null.
    bool SetName(const char* name);
    bool SetDomain(const char* domain);

    // Any text; null or empty removes. Last error 13: an unpaired surrogate.
    bool SetComment(const char16_t* comment);

    const char16_t* GetComment() const { return m_comment.c_str(); }
    bool HasComment() const { return !m_comment.empty(); }
    bool HasDomain() const { return m_nameStart > m_domainStart + 1; }

    // The fields as they stand in a mail header: the comment as a phrase, with quotes where it
    // needs them and as encoded words where it is not ASCII; the local part with quotes where it is
    // no dot-atom.
    const char* EncodedComment() const;
    const char* EncodedName() const { return m_text.c_str() + m_nameStart; }
    const char* EncodedDomain() const { return m_text.c_str() + m_domainStart; }

    // name@domain, an identity: Parse of it gives the same again. Case stays as it was written.
    const char* RawAddress() const { return m_text.c_str(); }

    // The comment in UTF-8, quoted where it needs it, and the address in angle brackets; without a
    // comment, RawAddress. Parse of it gives the same address and comment, except that control
    // characters of the comment have become blanks.
    const char* RawFullAddress() const;

private:
    friend class CRfc822AddressList;

    void Take(const CMailboxText& mailbox);
    void SetParts(std::string_view encodedName, std::string_view domain);
    void Swap(CRfc822Address& other) noexcept;

    // "name@domain", a zero, "name", so that one block of memory serves three zero-ended texts.
    std::string m_text;
    std::size_t m_domainStart = 0;
    std::size_t m_nameStart = 0;
    std::u16string m_comment;
    mutable std::string m_encodedComment;
    mutable std::string m_rawFullAddress;
};

// An ordered list of mail addresses. A resource; it owns its elements. A position is opaque and
// null past the end; it lasts until the next Parse.
class CRfc822AddressList : public CTracedAllocation
{
public:
    CRfc822AddressList() = default;
    CRfc822AddressList(const CRfc822AddressList&) = delete;
    CRfc822AddressList& operator=(const CRfc822AddressList&) = delete;

    // Reads a list of mailboxes and groups (RFC 5322, 3.4) in place of the old elements; each
    // mailbox as CRfc822Address::Parse reads it. The members of a group become elements, its name
    // is dropped, and so an empty group gives an empty list. Last error 13: the text is no list;
    // 87: it is null. The old elements then stay.
    bool Parse(const char* text);

    bool IsEmpty() const { return m_addresses.IsEmpty(); }
    POSITION GetHeadPosition() const { return m_addresses.GetHeadPosition(); }

    // The element at the position, which moves on. Last error 8, and an empty address: no memory.
    CRfc822Address GetNext(POSITION& position) const;

private:
    CList<CRfc822Address> m_addresses;
};
