#include "search/Folding.h"

#include "base/Text.h"
#include "platform/Ascii.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>

#include <unicode/normalizer2.h>
#include <unicode/translit.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>
#include <unicode/uversion.h>

namespace
{

bool IsAsciiByte(char c)
{
    return static_cast<unsigned char>(c) < 0x80;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsLetterOrDigit(char c)
{
    const char lower = LowerAscii(c);
    return IsDigit(c) || (lower >= 'a' && lower <= 'z') || !IsAsciiByte(c);
}

icu::UnicodeString ToUnicode(std::string_view utf8)
{
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
}

// ICU fails here for no other reason: the rules are its own.
template <class Call>
auto MustSucceed(Call call)
{
    UErrorCode error = U_ZERO_ERROR;
    auto result = call(error);
    if (U_FAILURE(error)) {
        throw std::bad_alloc();
    }
    return result;
}

// Whether Latin-ASCII may have something for a letter that has no accent to take away: ø, ł,
// quotes.
bool MayBecomeAscii(UChar32 character)
{
    UErrorCode ignored = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(character, &ignored);
    return character >= 0x80 && (script == USCRIPT_LATIN || script == USCRIPT_COMMON);
}

// Making the rules takes longer than a search, so they are made for a text that needs them. They
// are applied to one piece of the text after the other: each replacement moves all that stands
// behind it in the same string, and a sender's name may be long.
void MakeAscii(icu::UnicodeString* text)
{
    static const auto rules = MustSucceed([](UErrorCode& error) {
        return std::unique_ptr<icu::Transliterator>(
            icu::Transliterator::createInstance("Latin-ASCII", UTRANS_FORWARD, error));
    });
    constexpr std::int32_t kPieceLength = 512;
    icu::UnicodeString ascii;
    for (std::int32_t begin = 0, end = 0; begin < text->length(); begin = end) {
        end = text->getChar32Limit(std::min(begin + kPieceLength, text->length()));
        icu::UnicodeString piece(*text, begin, end - begin);
        rules->transliterate(piece);
        ascii.append(piece);
    }
    *text = ascii.foldCase();
}

bool IsUmlautBase(UChar32 letter)
{
    return letter < 0x80 &&
           std::string_view("aouAOU").find(static_cast<char>(letter)) != std::string_view::npos;
}

// The text without its marks. If `expands`, an umlaut's dots become an e.
std::string Fold(const icu::UnicodeString& decomposed, bool expands)
{
    constexpr UChar32 kDiaeresis = 0x308;
    icu::UnicodeString folded;
    UChar32 before = 0;
    for (std::int32_t i = 0; i < decomposed.length(); i = decomposed.moveIndex32(i, 1)) {
        const UChar32 character = decomposed.char32At(i);
        if (u_charType(character) != U_NON_SPACING_MARK) {
            folded.append(character);
        } else if (expands && character == kDiaeresis && IsUmlautBase(before)) {
            folded.append(u'e');
        }
        before = character;
    }
    folded.foldCase();
    for (std::int32_t i = 0; i < folded.length(); i = folded.moveIndex32(i, 1)) {
        if (MayBecomeAscii(folded.char32At(i))) {
            MakeAscii(&folded);
            break;
        }
    }
    std::string utf8;
    folded.toUTF8String(utf8);
    return utf8;
}

// The best way in which a text has a word.
EMatch FindWord(std::string_view text, std::string_view word)
{
    EMatch found = EMatch::kNone;
    for (std::size_t at = text.find(word); at != text.npos; at = text.find(word, at + 1)) {
        const bool isInside = at > 0 && (IsLetterOrDigit(text[at - 1]));
        if (!isInside) {
            return EMatch::kAtBeginning;
        }
        found = EMatch::kWithin;
    }
    return found;
}

// In either form of the text, either form of the word.
EMatch FindWord(const CFoldedView& text, const CFoldedText& word)
{
    EMatch best = EMatch::kNone;
    for (const std::string_view form : {text.plain, text.expanded}) {
        best = std::max(best, FindWord(form, word.plain));
        if (!word.expanded.empty()) {
            best = std::max(best, FindWord(form, word.expanded));
        }
    }
    return best;
}

// Empty if the word is no part of a telephone number, or too short a part to tell anything.
std::string DigitsToFind(std::string_view word)
{
    constexpr std::size_t kLeastDigits = 3;
    const bool isNumber = word.find_first_not_of("+0123456789()./-") == word.npos;
    std::string digits = isNumber ? DigitsOf(word) : "";
    return digits.size() < kLeastDigits ? "" : digits;
}

// Blanks of all scripts: a Japanese keyboard writes a wide one.
std::vector<std::string> SplitAtBlanks(std::string_view utf8)
{
    const icu::UnicodeString text = ToUnicode(utf8);
    std::vector<std::string> words;
    for (std::int32_t begin = 0, end = 0; begin < text.length(); begin = end) {
        const bool isBlank = u_isUWhiteSpace(text.char32At(begin));
        while (end < text.length() && u_isUWhiteSpace(text.char32At(end)) == isBlank) {
            end = text.moveIndex32(end, 1);
        }
        if (!isBlank) {
            text.tempSubStringBetween(begin, end).toUTF8String(words.emplace_back());
        }
    }
    return words;
}

} // namespace

CFoldedText FoldText(std::string_view utf8)
{
    if (std::ranges::all_of(utf8, IsAsciiByte)) {
        return {LowerText(utf8), {}};
    }
    const icu::UnicodeString text = ToUnicode(utf8);
    const icu::UnicodeString decomposed = MustSucceed([&](UErrorCode& error) {
        return icu::Normalizer2::getNFKDInstance(error)->normalize(text, error);
    });
    CFoldedText folded{Fold(decomposed, false), Fold(decomposed, true)};
    if (folded.expanded == folded.plain) {
        folded.expanded.clear();
    }
    return folded;
}

std::string FoldingVersion()
{
    UVersionInfo version;
    u_getVersion(version);
    char text[U_MAX_VERSION_STRING_LENGTH];
    u_versionToString(version, text);
    return text;
}

std::string DigitsOf(std::string_view number)
{
    std::string digits;
    std::ranges::copy_if(number, std::back_inserter(digits), IsDigit);
    return digits;
}

CSearchWords::CSearchWords(const std::vector<std::string>& texts)
{
    for (const std::string& text : texts) {
        for (const std::string& word : SplitAtBlanks(text)) {
            CFoldedText folded = FoldText(word);
            if (!folded.plain.empty()) {
                std::string digits = DigitsToFind(folded.plain);
                m_words.push_back({std::move(folded), std::move(digits)});
            }
        }
    }
}

EMatch CSearchWords::Match(const CFoldedView& first, const CFoldedView& second) const
{
    EMatch worst = EMatch::kAtBeginning;
    for (const CWord& word : m_words) {
        worst = std::min(worst, MatchWord(word, first, second));
        if (worst == EMatch::kNone) {
            break;
        }
    }
    return worst;
}

EMatch CSearchWords::MatchWord(const CWord& word, const CFoldedView& first,
                               const CFoldedView& second) const
{
    const EMatch best = FindWord(first, word.text);
    if (best != EMatch::kNone) {
        return best;
    }
    const bool isInSecond =
        FindWord(second, word.text) != EMatch::kNone ||
        (!word.digits.empty() && second.plain.find(word.digits) != std::string_view::npos);
    return isInSecond ? EMatch::kWithin : EMatch::kNone;
}
