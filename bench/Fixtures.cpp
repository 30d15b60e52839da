#include "Fixtures.h"

#include "Bare.h"
#include "pab/PABContact.h"
#include "platform/LastError.h"
#include "server/MailStoreAdmin.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <tuple>

namespace
{

constexpr std::size_t kMessageBytes = 6000;

std::string CorpusPath(const char* name)
{
    const char* folder = std::getenv("CONTACTMGR_BENCH_CORPUS");
    Require(folder != nullptr, "CONTACTMGR_BENCH_CORPUS names no folder (see scripts/bench.sh)");
    return std::string(folder) + '/' + name;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    Require(file.is_open(), path.c_str());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> SplitCards(const std::string& text)
{
    constexpr std::string_view kEnd = "END:VCARD\r\n";
    std::vector<std::string> cards;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find(kEnd, begin);
        Require(end != text.npos, "a card of the corpus has no end");
        cards.push_back(text.substr(begin, end + kEnd.size() - begin));
        begin = end + kEnd.size();
    }
    Require(!cards.empty(), "the corpus has no cards");
    return cards;
}

const CTempFolder& Scratch()
{
    static const CTempFolder folder;
    return folder;
}

std::string NumberedName(const char* name, std::size_t number)
{
    return name + std::to_string(number);
}

} // namespace

void Require(bool isTrue, const char* what)
{
    if (!isTrue) {
        std::fprintf(stderr, "bench: %s (last error %u)\n", what, GetLastError());
        std::exit(1);
    }
}

const std::vector<std::string>& Cards(bool hasPhotos)
{
    static const std::vector<std::string> plain = SplitCards(ReadFile(CorpusPath("plain/all.vcf")));
    static const std::vector<std::string> photos =
        SplitCards(ReadFile(CorpusPath("photos/all.vcf")));
    return hasPhotos ? photos : plain;
}

const std::vector<std::string>& Messages()
{
    static const std::vector<std::string> messages = [] {
        std::vector<std::string> read;
        for (const auto& file : std::filesystem::directory_iterator(CorpusPath("mail/INBOX/cur"))) {
            read.push_back(ReadFile(file.path()).substr(0, kMessageBytes));
        }
        Require(!read.empty(), "the corpus has no messages");
        return read;
    }();
    return messages;
}

std::string NewFolder(const char* name)
{
    static std::size_t count = 0;
    std::string path = Scratch() / NumberedName(name, ++count);
    std::filesystem::create_directory(path);
    return path;
}

std::string OlderName(std::size_t number)
{
    static constexpr const char* kFlags[] = {":2,S", ":2,RS", ":2,", ":2,FS"};
    return std::to_string(1600000000 + number) + ".M" + std::to_string(number) + "P1.mail" +
           kFlags[number % std::size(kFlags)];
}

CBook::CBook(const CShape& shape)
    : path(NewFolder("book") + "/Contacts"), plugin(path), m_hasPhotos(shape.hasPhotos)
{
    for (std::size_t number = 0; number < shape.count; ++number) {
        const ContactMgr::CContactId id = Create()->GetId();
        if (shape.hasTombstones && number % 2 == 1) {
            Require(plugin.DeleteContact(id), "a contact is not deleted");
        } else {
            ids.push_back(id);
        }
    }
}

std::unique_ptr<CContact> CBook::Create()
{
    const std::vector<std::string>& cards = Cards(m_hasPhotos);
    std::unique_ptr<CContact> contact(plugin.CreateContact(nullptr));
    Require(contact != nullptr && contact->FromString(cards[m_created++ % cards.size()]) &&
                contact->Save(),
            "a contact is not made");
    return contact;
}

std::unique_ptr<CContact> CBook::Open(std::size_t index)
{
    CContact* contact = nullptr;
    Require(plugin.OpenContact(ids[index % ids.size()], &contact), "a contact is not opened");
    return std::unique_ptr<CContact>(contact);
}

std::string CBook::FileName(std::size_t index) const
{
    return CPABContact::ContactIdToFileName(ids[index % ids.size()]);
}

std::shared_ptr<CBook> SharedBook(const CShape& shape)
{
    static std::map<std::tuple<std::size_t, bool, bool>, std::shared_ptr<CBook>> books;
    auto& book = books[{shape.count, shape.hasPhotos, shape.hasTombstones}];
    if (book == nullptr) {
        book = std::make_shared<CBook>(shape);
    }
    return book;
}

CStore::CStore(const CCounts& counts) : root(NewFolder("store"))
{
    RegisterMailServerPropertyFamilies();
    Require(server.Open(root.c_str()) && CreateMailbox(server, "alice", "example.org") &&
                SetMailboxProperties(server, "alice", "example.org",
                                     {{"EnabledContactPlugins", "15"}, {"FullName", "Alice"}}),
            "the mail store is not made");
    AddMailboxes(counts.mailboxes);
    if (counts.older > 0) {
        AddOlderContacts(counts.older);
    }
    AddMessages(counts.senders);
    Require(alice.Open(server, "alice", "example.org"), "the mailbox is not opened");
    CPABPlugin plugin(AlicePath() + "/Contacts");
    for (std::size_t number = 0; number < counts.book; ++number) {
        const std::unique_ptr<CContact> contact(plugin.CreateContact(nullptr));
        Require(contact != nullptr &&
                    contact->FromString(Cards(false)[number % Cards(false).size()]) &&
                    contact->Save(),
                "a contact is not made");
    }
}

void CStore::AddMailboxes(std::size_t count)
{
    for (std::size_t number = 1; number < count; ++number) {
        const std::string name = NumberedName("user", number);
        Require(CreateMailbox(server, name.c_str(), "example.org"), "a mailbox is not made");
        Bare::CreateFile(root + "/example.org/" + name + "/properties.json",
                         "{\"FullName\": \"Ann " + name + "\", \"Surname\": \"" + name +
                             "\", \"City\": \"Springfield\", \"Telephone\": \"+1 555 0100\"}\n");
    }
}

void CStore::AddOlderContacts(std::size_t count) const
{
    const std::string folder = AlicePath() + "/.Contacts";
    for (const char* name : {"", "/cur", "/new", "/tmp"}) {
        std::filesystem::create_directory(folder + name);
    }
    for (std::size_t number = 1; number <= count; ++number) {
        const std::string text = std::to_string(number);
        Bare::CreateFile(folder + "/cur/" + OlderName(number),
                         "From: alice@example.org\nSubject: contact\n\nNAME:Ann Archer " + text +
                             "\nNICK:ann" + text + "\nEMAIL:ann" + text +
                             "@example.com\nWPHONE:+1 555 0100\nHCITY:Springfield\n");
    }
}

void CStore::AddMessages(std::size_t count) const
{
    for (std::size_t number = 0; number < count; ++number) {
        Bare::CreateFile(AlicePath() + "/cur/" + std::to_string(1600000000 + number) + ".M" +
                             std::to_string(number) + "P1.mail:2,S",
                         Messages()[number % Messages().size()]);
    }
}

void ReadNames(CContact& contact)
{
    std::u16string name;
    contact.GetProperty("FullName", &name);
    benchmark::DoNotOptimize(name.data());
    const CContactEmailList& emails = contact.GetEmails();
    benchmark::DoNotOptimize(emails.IsEmpty() ? "" : emails.GetHead().GetAddress().RawAddress());
}
