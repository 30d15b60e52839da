#include "sync/SyncCards.h"

#include "base/StdioFile.h"
#include "base/Text.h"
#include "cards/CardContent.h"
#include "cards/LineParts.h"
#include "cards/VCard4.h"
#include "cards/VCardBinary.h"
#include "core/Contact.h"
#include "intake/CardReader.h"
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

// By the way of `import`, which knows this version.
bool ReadOldCard(const std::string& text, CVCard* card, std::string* fault)
{
    CImportCard read;
    ConvertCard(text, &read);
    *card = std::move(read.card);
    *fault = std::move(read.fault);
    return fault->empty();
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
        *card = ReadVCard(read.text);
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
    return text.insert(UpperText(text).rfind("END:VCARD"), "UID:" + EscapeValue(uid) + "\r\n");
}
