#include "text/AddressReader.h"

#include "text/AddressSyntax.h"
#include "text/EncodedWords.h"
#include "text/Utf8.h"

#include <algorithm>
#include <memory>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

// A decoded name on one line: an encoded word may hold any character, line ends too.
std::string DecodeName(const std::string& source)
{
    std::string name = DecodeEncodedWords(source);
    std::replace_if(name.begin(), name.end(), IsUnquotable, ' ');
    return name;
}

std::string CommentName(std::string_view comment)
{
    std::string name = DecodeName(Unquote(comment));
    name.erase(0, std::min(name.find_first_not_of(" \t"), name.size()));
    name.erase(name.find_last_not_of(" \t") + 1);
    return name;
}

} // namespace

bool CAddressReader::Take(char c)
{
    if (AtEnd() || m_text[m_position] != c) {
        return false;
    }
    ++m_position;
    return true;
}

// The length of the line end that stands here in front of a blank; 0 if there is none.
std::size_t CAddressReader::FoldLength() const
{
    const std::string_view rest = m_text.substr(m_position);
    const std::size_t length = rest.starts_with("\r\n") ? 2 : rest.starts_with('\n') ? 1 : 0;
    return length < rest.size() && IsBlank(rest[length]) ? length : 0;
}

// Steps over one character, quoted pair or fold inside a quoted string or comment.
bool CAddressReader::StepQuotable()
{
    const std::size_t fold = FoldLength();
    if (fold != 0) {
        m_position += fold;
        return true;
    }
    if (Peek() == '\\') {
        ++m_position;
    }
    if (AtEnd() || IsUnquotable(Peek())) {
        return false;
    }
    ++m_position;
    return true;
}

// Skips blanks, folds and comments. An empty `comment` becomes the text inside the first of them.
bool CAddressReader::SkipBlanks(std::string_view* comment)
{
    while (!AtEnd()) {
        const char c = Peek();
        const std::size_t begin = m_position + 1;
        if (IsBlank(c)) {
            ++m_position;
        } else if (c == '(') {
            if (!SkipComment()) {
                return false;
            }
            if (comment != nullptr && comment->empty()) {
                *comment = m_text.substr(begin, m_position - 1 - begin);
            }
        } else if (c == '\r' || c == '\n') {
            const std::size_t fold = FoldLength();
            if (fold == 0) {
                return false;
            }
            m_position += fold;
        } else {
            return true;
        }
    }
    return true;
}

bool CAddressReader::SkipComment()
{
    std::size_t depth = 0;
    do {
        const char c = Peek();
        depth += c == '(' ? 1u : 0u;
        depth -= c == ')' ? 1u : 0u;
        if (AtEnd() || !StepQuotable()) {
            return false;
        }
    } while (depth > 0);
    return true;
}

bool CAddressReader::ReadQuoted(std::string_view* source)
{
    const std::size_t begin = ++m_position;
    while (Peek() != '"') {
        if (AtEnd() || !StepQuotable()) {
            return false;
        }
    }
    *source = m_text.substr(begin, m_position++ - begin);
    return true;
}

std::string_view CAddressReader::ReadAtom()
{
    const std::size_t begin = m_position;
    while (!AtEnd() && IsAtomCharacter(m_text[m_position])) {
        ++m_position;
    }
    return m_text.substr(begin, m_position - begin);
}

// Reads words and dots up to the first other character, which tells what they are.
bool CAddressReader::ReadWords()
{
    m_words.clear();
    for (;;) {
        const std::size_t before = m_position;
        if (!SkipBlanks()) {
            return false;
        }
        CWord word{EWordKind::Atom, m_position != before, {}};
        if (Peek() == '"') {
            word.kind = EWordKind::Quoted;
            if (!ReadQuoted(&word.source)) {
                return false;
            }
        } else if (Peek() == '.') {
            word.kind = EWordKind::Dot;
            word.source = m_text.substr(m_position++, 1);
        } else {
            word.source = ReadAtom();
            if (word.source.empty()) {
                return true;
            }
        }
        m_words.push_back(word);
    }
}

bool CAddressReader::IsPhrase() const
{
    return m_words.empty() || m_words.front().kind != EWordKind::Dot;
}

// The atom or dot at the index. Some mailers leave blanks and quotes inside an encoded word,
// against RFC 2047 section 5, so that it reads as several words. It is then given whole, without
// quotes and with '_' for blanks, and the index moves to its last word.
std::string CAddressReader::TakeUnquoted(std::size_t* index) const
{
    const std::string_view source = m_words[*index].source;
    const char* const phraseEnd = std::to_address(m_words.back().source.end());
    const std::size_t length =
        EncodedWordLength({source.data(), static_cast<std::size_t>(phraseEnd - source.data())});
    if (length <= source.size()) {
        return std::string(source);
    }
    std::size_t last = *index;
    const char* const wordEnd = source.data() + length;
    while (last + 1 < m_words.size() && m_words[last + 1].source.data() < wordEnd) {
        ++last;
    }
    if (std::to_address(m_words[last].source.end()) > wordEnd) {
        return std::string(source);
    }
    *index = last;
    std::string word(source.data(), length);
    std::erase_if(word, [](char c) { return c == '"' || c == '\r' || c == '\n'; });
    std::replace_if(word.begin(), word.end(), IsBlank, '_');
    return word;
}

// The words as a display name. The decoder drops blanks between encoded words, so it gets unquoted
// words together. Quoted text holds no encoded words (RFC 2047 section 5).
std::string CAddressReader::DisplayName() const
{
    std::string name;
    std::string unquoted;
    const auto append = [&name](const std::string& text) {
        if (!name.empty() && !text.empty()) {
            name += ' ';
        }
        name += text;
    };
    for (std::size_t i = 0; i < m_words.size(); ++i) {
        const CWord& word = m_words[i];
        if (word.kind == EWordKind::Quoted) {
            append(DecodeName(unquoted));
            unquoted.clear();
            append(Unquote(word.source));
            continue;
        }
        if (word.blankBefore && !unquoted.empty()) {
            unquoted += ' ';
        }
        unquoted += TakeUnquoted(&i);
    }
    append(DecodeName(unquoted));
    return name;
}

bool CAddressReader::GetLocalPart(std::string* localPart) const
{
    bool expectsDot = false;
    localPart->clear();
    for (const CWord& word : m_words) {
        if ((word.kind == EWordKind::Dot) != expectsDot) {
            return false;
        }
        expectsDot = !expectsDot;
        *localPart += word.kind == EWordKind::Quoted ? Unquote(word.source) : word.source;
    }
    return expectsDot && IsUtf8(*localPart);
}

bool CAddressReader::ReadLiteral(std::string* domain)
{
    while (Peek() != ']') {
        const bool isText = !AtEnd() && IsLiteralCharacter(Peek());
        const std::size_t fold = FoldLength();
        if (isText) {
            *domain += Peek();
        } else if (!IsBlank(Peek()) && fold == 0) {
            return false;
        }
        m_position += std::max<std::size_t>(fold, 1);
    }
    *domain += ']';
    ++m_position;
    return true;
}

// Reads the domain with the blanks around it, and into `comment` the first comment behind it.
bool CAddressReader::ReadDomain(std::string* domain, std::string_view* comment)
{
    std::string_view behind;
    domain->clear();
    if (!SkipBlanks()) {
        return false;
    }
    if (Take('[')) {
        *domain = '[';
        if (!ReadLiteral(domain) || !SkipBlanks(&behind)) {
            return false;
        }
    } else {
        do {
            behind = {};
            if (!domain->empty()) {
                *domain += '.';
            }
            const bool isClean = SkipBlanks();
            const std::string_view atom = ReadAtom();
            if (!isClean || atom.empty() || !SkipBlanks(&behind)) {
                return false;
            }
            *domain += atom;
        } while (Take('.'));
    }
    if (comment != nullptr) {
        *comment = behind;
    }
    return IsUtf8(*domain);
}

// Reads from the at sign on; the words in front of it have been read.
bool CAddressReader::ReadAddress(CMailboxText* mailbox, std::string_view* comment)
{
    return GetLocalPart(&mailbox->localPart) && Take('@') && ReadDomain(&mailbox->domain, comment);
}

// Skips an obsolete route, "@relay.example,@hub.example:", if there is one.
bool CAddressReader::SkipRoute()
{
    if (!SkipBlanks()) {
        return false;
    }
    if (Peek() != '@' && Peek() != ',') {
        return true;
    }
    std::string domain;
    bool hasDomain = false;
    bool atDivider = true;
    while (!Take(':')) {
        if (Take(',')) {
            atDivider = true;
        } else if (atDivider && Take('@')) {
            hasDomain = true;
            atDivider = false;
            if (!ReadDomain(&domain)) {
                return false;
            }
        } else {
            return false;
        }
        if (!SkipBlanks()) {
            return false;
        }
    }
    return hasDomain;
}

// Reads the rest of a mailbox whose first words are read, with the blanks behind it.
bool CAddressReader::ReadBehindWords(CMailboxText* mailbox)
{
    if (Peek() == '@') {
        std::string_view comment;
        if (!ReadAddress(mailbox, &comment)) {
            return false;
        }
        mailbox->displayName = CommentName(comment);
        return true;
    }
    if (!Take('<') || !IsPhrase()) {
        return false;
    }
    mailbox->displayName = DisplayName();
    return SkipRoute() && ReadWords() && ReadAddress(mailbox) && Take('>') && SkipBlanks();
}

bool CAddressReader::ReadMailbox(CMailboxText* mailbox)
{
    return ReadWords() && ReadBehindWords(mailbox) && AtEnd();
}

// Reads a mailbox up to what divides it from the next, or a group up to its colon.
bool CAddressReader::ReadElement(bool* inGroup, std::vector<CMailboxText>* mailboxes)
{
    if (!m_words.empty() && Peek() == ':') {
        ++m_position;
        return IsPhrase() && !std::exchange(*inGroup, true);
    }
    CMailboxText mailbox;
    if (!ReadBehindWords(&mailbox)) {
        return false;
    }
    mailboxes->push_back(std::move(mailbox));
    return AtEnd() || Peek() == ',' || Peek() == ';';
}

bool CAddressReader::ReadList(std::vector<CMailboxText>* mailboxes)
{
    bool inGroup = false;
    bool hasAddress = false;
    for (;;) {
        if (!ReadWords()) {
            return false;
        }
        if (!m_words.empty() || Peek() == '<') {
            if (!ReadElement(&inGroup, mailboxes)) {
                return false;
            }
            hasAddress = true;
        } else if (AtEnd()) {
            return hasAddress && !inGroup;
        } else if (inGroup && Take(';')) {
            inGroup = false;
            if (!SkipBlanks() || (!AtEnd() && Peek() != ',')) {
                return false;
            }
        } else if (!Take(',')) {
            return false;
        }
    }
}

} // namespace contactmgr_internal
