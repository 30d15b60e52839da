#include "search/Folding.h"

#include "platform/Ascii.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>

#include <unicode/translit.h>
#include <unicode/unistr.h>
#include <unicode/uversion.h>

namespace
{

constexpr std::string_view kBlanks = " \t\n\v\f\r";

bool IsAscii(char c)
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
    return IsDigit(c) || (lower >= 'a' && lower <= 'z') || !IsAscii(c);
}

std::string LowerAsciiText(std::string_view text)
{
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), LowerAscii<char>);
    return lower;
}

std::unique_ptr<icu::Transliterator> MakeTransliterator(const char* rules)
{
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<icu::Transliterator> made(
        icu::Transliterator::createInstance(rules, UTRANS_FORWARD, error));
    if (U_FAILURE(error) || made == nullptr) {
        throw std::bad_alloc(); // the rules are ICU's own
    }
    return made;
}

std::string Fold(const icu::Transliterator& rules, const icu::UnicodeString& text)
{
    icu::UnicodeString folded(text);
    rules.transliterate(folded);
    folded.foldCase();
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

std::vector<std::string> SplitAtBlanks(std::string_view text)
{
    std::vector<std::string> words;
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
        if (text.empty()) {
            return words;
        }
        const std::size_t end = std::min(text.find_first_of(kBlanks), text.size());
        words.emplace_back(text.substr(0, end));
        text.remove_prefix(end);
    }
}

} // namespace

CFoldedText FoldText(std::string_view utf8)
{
    if (std::ranges::all_of(utf8, IsAscii)) {
        return {LowerAsciiText(utf8), {}};
    }
    static const auto plainRules = MakeTransliterator("NFKD; [:Mn:] Remove; Latin-ASCII");
    static const auto expandedRules =
        MakeTransliterator("NFC; de-ASCII; NFKD; [:Mn:] Remove; Latin-ASCII");
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
    CFoldedText folded{Fold(*plainRules, text), Fold(*expandedRules, text)};
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
