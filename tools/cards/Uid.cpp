#include "cards/Uid.h"

#include "base/Text.h"
#include "cards/Digest.h"
#include "core/Contact.h"
#include "directory/ContentLineSyntax.h"
#include "directory/TextLines.h"
#include "platform/Ascii.h"

#include <algorithm>
#include <array>

namespace
{

constexpr std::string_view kUid = "UID";
constexpr std::array<std::string_view, 4> kEntryNames = {"EMAIL", "TEL", "ADR", "IMPP"};
constexpr std::string_view kEnd = "END:VCARD\r\n";

bool IsUidLine(std::string_view line, CVCardLine* read)
{
    std::size_t position = 0;
    std::string_view group;
    std::string_view name;
    return DirectoryUtils::TakeName(line, &position, &group, &name) &&
           EqualIgnoringCase(name, kUid) && ReadVCardLine(line, read);
}

bool IsEntry(std::string_view line)
{
    const std::string_view name = line.substr(0, line.find_first_of(";:"));
    return std::ranges::find(kEntryNames, name) != kEntryNames.end();
}

// Where the lines of the four lists begin, behind all others; the END line without any.
std::size_t BeginOfEntries(std::string_view text)
{
    std::size_t begin = 0;
    while (begin + kEnd.size() < text.size() && !IsEntry(text.substr(begin))) {
        begin = text.find("\r\n", begin) + 2;
    }
    return begin;
}

} // namespace

std::string StoredUid(const CVCard& card)
{
    for (const CVCardLine& line : card) {
        if (line.name == kUid && !line.value.empty()) {
            return UnescapeValue(line.value);
        }
    }
    return {};
}

std::string DerivedUid(std::string_view mailbox, const ContactMgr::CContactId& id)
{
    return NameBasedUuid(LowerText(mailbox) + '/' + id.ToString());
}

std::string UidOf(const CVCard& card, std::string_view mailbox, const ContactMgr::CContactId& id)
{
    const std::string stored = StoredUid(card);
    return stored.empty() ? DerivedUid(mailbox, id) : stored;
}

bool UidOf(CContact& contact, std::string_view mailbox, std::string* uid)
{
    std::u16string text;
    if (!contact.ToString(&text)) {
        return false;
    }
    *uid = UidOf(ReadVCard(ToUtf8(text)), mailbox, contact.GetId());
    return true;
}

void SetUid(std::string_view uid, CVCard* card)
{
    const auto first = std::ranges::find_if(
        *card, [](const CVCardLine& line) { return line.name == kUid || IsEntry(line.name); });
    const auto place = first - card->begin();
    std::erase_if(*card, [](const CVCardLine& line) { return line.name == kUid; });
    card->insert(card->begin() + place, {{}, std::string(kUid), {}, EscapeValue(uid)});
}

void AddUid(std::string_view uid, std::string* text)
{
    CVCardLine read;
    const CTextLines lines(*text);
    const bool hasUid = std::ranges::any_of(lines.Lines(), [&read](std::string_view line) {
        return IsUidLine(line, &read) && !read.value.empty();
    });
    if (hasUid) {
        return;
    }
    // Empty ones first: a reader takes the first of two.
    std::size_t at = 0;
    while ((at = text->find("\r\nUID:\r\n", at)) != text->npos) {
        text->erase(at, kUid.size() + 3);
    }
    if (text->ends_with(kEnd)) {
        text->insert(BeginOfEntries(*text), "UID:" + EscapeValue(uid) + "\r\n");
    }
}
