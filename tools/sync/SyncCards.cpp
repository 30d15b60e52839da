#include "sync/SyncCards.h"

#include "base/StdioFile.h"
#include "base/Text.h"
#include "cards/CardContent.h"
#include "cards/LineParts.h"
#include "cards/VCard4.h"
#include "cards/VCardBinary.h"
#include "core/Contact.h"
#include "directory/TextLines.h"
#include "intake/CardReader.h"
#include "intake/LooseLine.h"
#include "intake/VCardSource.h"
#include "pab/PABContact.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

namespace
{

bool ReadOneCard(std::string text, CCard* card, std::string* fault)
{
    text += '\n'; // fmemopen takes no empty buffer
    const CFile file(fmemopen(text.data(), text.size(), "rb"));
    CCard second;
    if (file == nullptr) {
        *fault = "no memory";
        return false;
    }
    CInputText input(file.get());
    CCardReader reader(input);
    if (!reader.Next(card)) {
        *fault = "no vCard in it";
    } else if (card->fault != nullptr) {
        *fault = card->fault;
    } else if (reader.Next(&second)) {
        *fault = "two vCards in it";
    } else {
        return true;
    }
    return false;
}

// Of the first VERSION line; empty without one.
std::string VersionOf(std::string_view card)
{
    constexpr std::string_view kVersion = "\nVERSION:";
    const std::size_t begin = UpperText(card).find(kVersion);
    if (begin == std::string::npos) {
        return {};
    }
    const std::string_view value = card.substr(begin + kVersion.size());
    return std::string(value.substr(0, value.find_first_of(" \t\n")));
}

// Lines that are no content lines are read as `import` reads them: parameters without a name, as
// in TEL;HOME:, are in cards of all versions.
CVCard ReadLines(std::string_view text)
{
    CVCard card;
    const CTextLines lines{std::string(text)};
    for (const std::string_view line : lines.Lines()) {
        CVCardLine read;
        if (ReadLooseLine(line, &read) && !IsOneOf(read.name, {"BEGIN", "END", "VERSION"})) {
            card.push_back(std::move(read));
        }
    }
    return card;
}

// By the way of `import`, which knows this version.
bool ReadOldCard(const std::string& text, CVCard* card, std::string* fault)
{
    CImportCard read;
    ConvertCard(text, &read);
    *card = std::move(read.card);
    *fault = std::move(read.fault);
    return fault->empty();
}

// Where the last END line begins, folded or not; the end of a text without one.
std::size_t EndLineOf(std::string_view text)
{
    constexpr std::string_view kEnd = "END:VCARD";
    std::size_t found = text.size();
    for (std::size_t begin = 0; begin < text.size();) {
        std::string line;
        std::size_t end = begin;
        do {
            const std::size_t lineEnd = std::min(text.find_first_of("\r\n", end), text.size());
            line += Trimmed(text.substr(end, lineEnd - end));
            end = std::min(text.find_first_not_of("\r\n", lineEnd), text.size());
        } while (end < text.size() && line.size() < kEnd.size() &&
                 (text[end] == ' ' || text[end] == '\t'));
        found = EqualIgnoringCase(line, kEnd) ? begin : found;
        begin = end;
    }
    return found;
}

// Both sides of a comparison are put in the same form.
void Complete(CVCard* card)
{
    AddName(card);
    std::ranges::for_each(*card, [](CVCardLine& line) { RepairBase64(&line); });
}

} // namespace

bool ReadOutgoingCard(CContact& contact, CVCard* card)
{
    std::u16string text;
    if (!contact.ToString(&text)) {
        return false;
    }
    *card = ReadVCard(ToUtf8(text));
    Complete(card);
    const std::pair<std::string, std::string> comment = {
        "X-COMMENT", UnescapeValue(FindLine(*card, "FN")->value)};
    for (CVCardLine& line : *card) {
        std::erase(line.parameters, comment);
    }
    return true;
}

bool ReadTheirCard(const std::string& text, CVCard* card, std::string* fault)
{
    std::u16string wide;
    if (!Utf8ToWide(text, &wide)) {
        *fault = "no UTF-8";
        return false;
    }
    CCard read;
    if (!ReadOneCard(text, &read, fault)) {
        return false;
    }
    const std::string version = VersionOf(read.text);
    if (version != "2.1" && version != "3.0" && version != "4.0" && !version.empty()) {
        *fault = "version " + version + " is not supported";
        return false;
    }
    if (version == "2.1") {
        if (!ReadOldCard(read.text, card, fault)) {
            return false;
        }
    } else {
        *card = ReadLines(read.text);
    }
    if (version == "4.0") {
        std::vector<std::string> notes; // the file itself keeps what the address book does not
        *card = ToVersion3(*card, &notes);
    }
    Complete(card);
    return true;
}

bool StoredDigest(const CVCard& card, std::string* digest)
{
    CPABContact contact;
    CVCard stored;
    if (!contact.FromString(WriteVCard(card)) || !ReadOutgoingCard(contact, &stored)) {
        return false;
    }
    *digest = ContentDigest(stored);
    return true;
}

std::string WithUidLine(std::string text, std::string_view uid)
{
    return text.insert(EndLineOf(text), "UID:" + EscapeValue(uid) + "\r\n");
}
