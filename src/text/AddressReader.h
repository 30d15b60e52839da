#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

inline namespace contactmgr_internal
{

// One mailbox as it was read: UTF-8 without quotes, folding, comments or route. A value.
struct CMailboxText
{
    std::string displayName; // may hold bytes that are no UTF-8
    std::string localPart;
    std::string domain;
};

// Reads mail addresses by the grammar of RFC 5322 section 3.4, with the obsolete forms of section
// 4.4 and UTF-8 (RFC 6532). Stricter in one point: of the control characters only tabs and folds
// are allowed. A fold may end in LF alone, as in files. A resource, for one text and one call.
// False if the text is not of the grammar. Needs time and memory of the order of the text's length,
// at any depth of comments. May throw std::bad_alloc.
//
// The MIME library's own address parser is not used: even in its strict mode it takes "a@b@c" and
// "a@b x", rewrites domains of the form "xn--", decodes inside quotes and keeps folds.
class CAddressReader
{
public:
    explicit CAddressReader(std::string_view text) : m_text(text) {}
    CAddressReader(const CAddressReader&) = delete;
    CAddressReader& operator=(const CAddressReader&) = delete;

    // Exactly one mailbox. The first of several comments behind a bare address is the name.
    bool ReadMailbox(CMailboxText* mailbox);

    // Mailboxes and groups; the members of groups are among the mailboxes.
    bool ReadList(std::vector<CMailboxText>* mailboxes);

private:
    enum class EWordKind
    {
        Atom,
        Quoted,
        Dot
    };
    struct CWord
    {
        EWordKind kind;
        bool blankBefore;
        std::string_view source; // of a quoted string the text between the quotes
    };

    char Peek() const { return m_position < m_text.size() ? m_text[m_position] : '\0'; }
    bool AtEnd() const { return m_position == m_text.size(); }
    bool Take(char c);
    std::size_t FoldLength() const;
    bool StepQuotable();
    bool SkipBlanks(std::string_view* comment = nullptr);
    bool SkipComment();
    bool ReadQuoted(std::string_view* source);
    std::string_view ReadAtom();
    bool ReadWords();
    bool ReadDomain(std::string* domain, std::string_view* comment = nullptr);
    bool ReadLiteral(std::string* domain);
    bool ReadAddress(CMailboxText* mailbox, std::string_view* comment = nullptr);
    bool SkipRoute();
    bool ReadBehindWords(CMailboxText* mailbox);
    bool ReadElement(bool* inGroup, std::vector<CMailboxText>* mailboxes);
    bool IsPhrase() const;
    std::string TakeUnquoted(std::size_t* index) const;
    std::string DisplayName() const;
    bool GetLocalPart(std::string* localPart) const;

    const std::string_view m_text;
    std::size_t m_position = 0;
    std::vector<CWord> m_words; // the words read last
};

} // namespace contactmgr_internal
