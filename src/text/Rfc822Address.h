#pragma once

#include "platform/Export.h"
#include "platform/List.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <string>
#include <string_view>

inline namespace contactmgr_internal
{
struct CMailboxText;
} // namespace contactmgr_internal

// One mail address (RFC 5322 section 3.4) with a comment, its display name. A value; a new one is
// empty.
//
// Narrow text is UTF-8 (RFC 6532). Returned pointers are never null and stay valid until the object
// changes or ends. EncodedComment and RawFullAddress are made at the first call, so a const object
// too belongs to one thread at a time. Without memory for it such a text is empty, with last error
// ERROR_NOT_ENOUGH_MEMORY (8).
class CONTACTMGR_API CRfc822Address : public CTracedAllocation
{
public:
    CRfc822Address() = default;
    CRfc822Address(const CRfc822Address&) = default;
    CRfc822Address(CRfc822Address&& other) noexcept { Swap(other); }
    CRfc822Address& operator=(const CRfc822Address& other);
    CRfc822Address& operator=(CRfc822Address&& other) noexcept;
    ~CRfc822Address() = default;

    // Reads exactly one mailbox with a local part and a domain. The comment becomes the display
    // name, with encoded words (RFC 2047) decoded, or without one the text in parentheses behind
    // the address. Folding, other comments, routes and blanks around dots (RFC 5322 section 4.4)
    // are read and dropped. On failure the object stays as it was. Last error ERROR_INVALID_DATA
    // (13): any other text, such as a group or several addresses; ERROR_INVALID_PARAMETER (87):
    // text is null.
    bool Parse(const char* text);

    // The local part and the domain, in plain form, without quotes. On failure they stay as they
    // were. Last error ERROR_INVALID_DATA (13): empty text, control characters, bytes that are no
    // UTF-8, or a domain that is neither atoms divided by dots nor a literal in brackets;
    // ERROR_INVALID_PARAMETER (87): text is null.
    bool SetName(const char* name);
    bool SetDomain(const char* domain);

    // Any text; null or empty removes. Last error ERROR_INVALID_DATA (13): an unpaired surrogate.
    bool SetComment(const char16_t* comment);

    const char16_t* GetComment() const { return m_comment.c_str(); }
    bool HasComment() const { return !m_comment.empty(); }
    bool HasDomain() const { return m_nameStart > m_domainStart + 1; }

    // The fields as a mail header has them: the comment as a phrase, in quotes if it needs them,
    // and as encoded words if it is not ASCII; the local part in quotes if it is no dot-atom.
    const char* EncodedComment() const;
    const char* EncodedName() const { return m_text.c_str() + m_nameStart; }
    const char* EncodedDomain() const { return m_text.c_str() + m_domainStart; }

    // name@domain, the identity of an address. Parse of it gives the same address. Case stays as it
    // was written.
    const char* RawAddress() const { return m_text.c_str(); }

    // The comment in UTF-8, in quotes if it needs them, and the address in angle brackets; without
    // a comment, RawAddress. Parse of it gives the same address and comment, but with blanks for
    // the comment's control characters.
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
class CONTACTMGR_API CRfc822AddressList : public CTracedAllocation
{
public:
    CRfc822AddressList() = default;
    CRfc822AddressList(const CRfc822AddressList&) = delete;
    CRfc822AddressList& operator=(const CRfc822AddressList&) = delete;

    // Reads a list of mailboxes and groups (RFC 5322 section 3.4) in place of the old elements;
    // each mailbox as CRfc822Address::Parse reads it. The members of a group become elements, and
    // its name is dropped, so an empty group gives an empty list. On failure the old elements stay.
    // Last error ERROR_INVALID_DATA (13): the text is no list; ERROR_INVALID_PARAMETER (87): it is
    // null.
    bool Parse(const char* text);

    bool IsEmpty() const { return m_addresses.IsEmpty(); }
    POSITION GetHeadPosition() const { return m_addresses.GetHeadPosition(); }

    // The element at the position, which moves on. An empty address with last error
    // ERROR_NOT_ENOUGH_MEMORY (8): no memory.
    CRfc822Address GetNext(POSITION& position) const;

private:
    CList<CRfc822Address> m_addresses;
};
