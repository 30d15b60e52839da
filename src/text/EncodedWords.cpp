#include "text/EncodedWords.h"

#include "text/Charset.h"
#include "text/MimeLibrary.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>

#include <gmime/gmime.h>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::string_view kBlanks = " \t\r\n";

// An encoded word has at most 75 characters. 45 bytes become 60 in base64; charset, encoding and
// delimiters take 12.
constexpr std::size_t kBytesPerWord = 45;

struct CEncodedWord
{
    std::string charset;
    char encoding = '\0'; // 'B' or 'Q'
    std::string_view payload;
};

// Reads a word of the form =?charset?encoding?payload?=. A language behind the charset (RFC 2231
// section 5) is dropped.
bool ReadEncodedWord(std::string_view source, CEncodedWord* word)
{
    if (!source.starts_with("=?") || !source.ends_with("?=")) {
        return false;
    }
    const std::size_t encoding = source.find('?', 2) + 1;
    const std::size_t payload = encoding + 2; // behind "B?"
    if (encoding == 0 || payload + 2 > source.size() || source[payload - 1] != '?') {
        return false;
    }
    word->charset = source.substr(2, std::min(encoding - 1, source.find('*')) - 2);
    word->encoding = g_ascii_toupper(source[encoding]);
    word->payload = source.substr(payload, source.size() - 2 - payload);
    return (word->encoding == 'B' || word->encoding == 'Q') && !word->charset.empty() &&
           word->payload.find('?') == std::string_view::npos;
}

std::string DecodePayload(const CEncodedWord& word)
{
    std::string payload(word.payload);
    if (word.encoding == 'B') {
        payload.append((4 - payload.size() % 4) % 4, '='); // some mailers leave the padding out
    } else {
        std::replace(payload.begin(), payload.end(), '_', ' ');
    }
    GMimeEncoding decoder;
    g_mime_encoding_init_decode(&decoder, word.encoding == 'B'
                                              ? GMIME_CONTENT_ENCODING_BASE64
                                              : GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    std::string bytes(g_mime_encoding_outlen(&decoder, payload.size()), '\0');
    bytes.resize(g_mime_encoding_flush(&decoder, payload.data(), payload.size(), bytes.data()));
    return bytes;
}

// Joins words to text. The bytes of neighbours in one charset are converted together, since some
// mailers divide a character between two words.
class CWordJoiner
{
public:
    void AddWord(const CEncodedWord& word, std::string_view blanks)
    {
        if (m_charset.empty()) {
            m_text += blanks;
        } else if (g_ascii_strcasecmp(m_charset.c_str(), word.charset.c_str()) != 0) {
            Flush();
        }
        m_charset = word.charset;
        m_bytes += DecodePayload(word);
    }
    void AddPlain(std::string_view plain, std::string_view blanks)
    {
        Flush();
        m_text += blanks;
        m_text += plain;
    }
    std::string Finish()
    {
        Flush();
        return std::move(m_text);
    }

private:
    void Flush()
    {
        if (!m_bytes.empty()) {
            m_text += DecodeCharset(m_bytes, m_charset.c_str());
        }
        m_bytes.clear();
        m_charset.clear();
    }

    std::string m_text;
    std::string m_charset; // empty unless the last word was an encoded one
    std::string m_bytes;
};

// How many bytes to put into one word; whole characters only.
std::size_t ChunkLength(std::string_view text)
{
    if (text.size() <= kBytesPerWord) {
        return text.size();
    }
    std::size_t length = kBytesPerWord;
    while (length > 1 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
        --length;
    }
    return length;
}

} // namespace

std::size_t EncodedWordLength(std::string_view text)
{
    const std::size_t encoding = text.starts_with("=?") ? text.find('?', 2) : text.npos;
    if (encoding == text.npos || text.size() < encoding + 3) {
        return 0;
    }
    const std::size_t payloadEnd = text.find('?', encoding + 3);
    if (payloadEnd == text.npos) {
        return 0;
    }
    CEncodedWord word;
    const std::size_t length = payloadEnd + 2;
    const std::string_view charset = text.substr(0, encoding);
    const bool isWord = charset.find_first_of(kBlanks) == charset.npos &&
                        ReadEncodedWord(text.substr(0, length), &word);
    return isWord ? length : 0;
}

std::string DecodeEncodedWords(std::string_view text)
{
    if (text.find("=?") == text.npos) {
        return std::string(text);
    }
    CWordJoiner joiner;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t begin = std::min(rest.find_first_not_of(kBlanks), rest.size());
        const std::size_t end = std::min(rest.find_first_of(kBlanks, begin), rest.size());
        const std::string_view source = rest.substr(begin, end - begin);
        CEncodedWord word;
        if (ReadEncodedWord(source, &word)) {
            joiner.AddWord(word, rest.substr(0, begin));
        } else {
            joiner.AddPlain(source, rest.substr(0, begin));
        }
        rest.remove_prefix(end);
    }
    return joiner.Finish();
}

std::string DecodeEncodedWordsAnywhere(std::string_view text)
{
    CWordJoiner joiner;
    std::size_t plain = 0;
    std::size_t position = text.find("=?");
    while (position != text.npos) {
        const std::size_t length = EncodedWordLength(text.substr(position));
        CEncodedWord word;
        if (length != 0 && ReadEncodedWord(text.substr(position, length), &word)) {
            std::string_view between = text.substr(plain, position - plain);
            if (between.find_first_not_of(kBlanks) != between.npos) {
                joiner.AddPlain(between, {});
                between = {};
            }
            joiner.AddWord(word, between);
            plain = position + length;
        }
        position = text.find("=?", position + std::max<std::size_t>(length, 2));
    }
    joiner.AddPlain(text.substr(plain), {});
    return joiner.Finish();
}

std::string EncodeWords(std::string_view text)
{
    std::string words;
    while (!text.empty()) {
        const std::size_t length = ChunkLength(text);
        const std::unique_ptr<char, CGlibFree> base64(
            g_base64_encode(reinterpret_cast<const guchar*>(text.data()), length));
        words += words.empty() ? "=?UTF-8?B?" : " =?UTF-8?B?";
        words += base64.get();
        words += "?=";
        text.remove_prefix(length);
    }
    return words;
}

} // namespace contactmgr_internal
