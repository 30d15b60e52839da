#include "core/ContactMgr.h"
#include "core/StoreFactories.h"
#include "pab/PABContact.h"
#include "platform/Failure.h"
#include "support/AllocationFault.h"
#include "support/ContactText.h"
#include "support/TestMailStore.h"
#include "text/Utf8.h"
#include "trace/MemoryDebugging.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <regex>
#include <utility>

namespace
{

using ContactMgr::CContactId;
using ContactMgr::CContactIdList;

constexpr const char* kContactFile = "Contacts/80000000.vcf";
constexpr const char* kCard =
    "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Lee-With-A-Long-Name;Ann-With-A-Long-Name;;;\r\n"
    "FN:Ann Lee with a name that needs the heap\r\nNOTE;X=\"a,^nb\":a note that needs the heap\r\n"
    "EMAIL;TYPE=internet;X-COMMENT=Ann Lee of Example:ann.lee@a-long-domain.example.org\r\n"
    "TEL;TYPE=work,voice:+1 555 0100 0100 0100\r\n"
    "ADR;TYPE=home:;;1 Main Street of the Town;Town;;12345;\r\n"
    "IMPP;TYPE=HOME:xmpp:ann.lee@a-long-domain.example.org\r\nEND:VCARD\r\n";

// A mailbox with something in each of its four stores, and what the operations work on. Arguments
// by value are made beforehand: a copy that finds no memory is the caller's.
struct CScene
{
    CScene()
    {
        store.AddMailbox("example.org/bob-with-a-long-mailbox-name");
        store.AddMailbox("example.org/alice/.Contacts");
        store.Deliver("properties.json", R"({"EnabledContactPlugins": 15, "Telephone": "+1 555",
            "OtherMailbox": "alice.of.example@a-long-domain.example.org", "Street": "1 Main"})");
        store.Deliver(kContactFile, kCard);
        store.Deliver("Contacts/00000002.nxt", "");
        for (const char* name : {".Contacts/cur/an-id-that-needs-the-heap-1", ".Contacts/new/2"}) {
            store.Deliver(name, "Reply-To: x\nContent-Type: text/plain; charset=iso-8859-1\n\n"
                                "NAME:Ann Lee \xe9 of a long name\nBADDRESS:1 Main Street\n"
                                "EMAIL:a@example.org, Ann <ann.lee@a-long-domain.example.org>\n"
                                "HPHONE:+1 555 0100 0100 0100\n");
        }
        store.Deliver("cur/1", "From: =?iso-8859-1?q?Ann_=E9?= of Example <ann@example.org>\n\n");
        store.Deliver("new/2", "From: Ann \xe9 of a long name <ann.lee@a-long.example.org>\n\n");
        alice = store.OpenAlice();
        manager = std::make_unique<CContactMgr>(alice);
        for (const StoreFactory& factory : StoreFactories()) {
            stores.AddTail(CContactPlgOwner(factory.create(alice), factory.release));
        }
    }

    void MakeWalk(std::size_t index)
    {
        walk.reset(stores.GetAt(stores.FindIndex(index))->GetEnumerator());
    }
    bool Walk()
    {
        entries = 0;
        bool isNew = false;
        const FILETIME never;
        if (!walk->Start(&never, &isNew)) {
            return false;
        }
        while (walk->MoveNext()) {
            CContact& found = *walk->GetCurrent();
            SetLastError(ERROR_SUCCESS);
            entries += 1 + found.GetEmails().GetCount() +
                       found.CContact::GetAddresses().GetCount() +
                       found.CContact::GetTelephones().GetCount();
            if (GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
                return false;
            }
        }
        return GetLastError() == ERROR_NO_MORE_FILES;
    }

    ~CScene()
    {
        walk.reset();
        delete contact;
    }

    CTestMailStore store;
    CMailbox alice;
    std::unique_ptr<CContactMgr> manager;
    CContactPlgList stores;
    CContactId id;
    CContact* contact = nullptr;
    std::unique_ptr<CContactPlg::CContactEnumerator> walk;
    std::size_t entries = 0;
    FILETIME version;
    CContactIdList deleted, changed, created;
    CContactEmailList emails;
    std::string narrow;
    std::u16string wide;
};

std::string WithoutStamps(const std::string& text)
{
    static const std::regex kStamps("(REV|X-LARKMERE-WSSVERSION):[^\n]*\n");
    return std::regex_replace(text, kStamps, "");
}

std::string Narrow(const std::u16string& wide)
{
    std::string text;
    EXPECT_TRUE(WideToUtf8(wide, &text));
    return text;
}

std::string ContactOf(const CScene& scene)
{
    std::u16string card;
    if (scene.contact == nullptr) {
        return {};
    }
    scene.contact->ToString(&card);
    return Narrow(AddressesOf(*scene.contact)) + EmailsOf(*scene.contact) +
           TelephonesOf(*scene.contact) + WithoutStamps(Narrow(card));
}

// All that an operation can give.
std::string ResultOf(const CScene& scene)
{
    std::string text = Narrow(scene.wide) + std::to_string(scene.entries);
    for (const CContactIdList* list : {&scene.deleted, &scene.changed, &scene.created}) {
        for (const CContactId& id : *list) {
            text += " " + id.ToString();
        }
    }
    return text + "|" + ContactOf(scene);
}

void Nothing(CScene&) {}

bool OpenById(CScene& scene)
{
    return scene.manager->OpenContact(std::move(scene.id), &scene.contact);
}

bool CreateFromTemplate(CScene& scene)
{
    CContact* created = scene.manager->CreateContact(scene.contact);
    if (created != nullptr) {
        delete std::exchange(scene.contact, created);
    }
    return created != nullptr;
}

void OpenFirst(CScene& scene)
{
    scene.id = "VCARDPAB-1";
    OpenById(scene);
}

void LongText(CScene& scene)
{
    scene.wide.assign(40, u',');
}

// The walk of one store throws where memory ends; the walk of all, which callers have, answers.
bool Walk(CScene& scene)
try {
    return scene.Walk();
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

constexpr const char* kMessageId = "TRELLISV7-an-id-that-needs-the-heap-1 alice example.org";

struct Row
{
    const char* what;
    void (*prepare)(CScene& scene);
    void (*makeArguments)(CScene& scene); // for each try
    bool (*run)(CScene& scene);
    bool isMerged = false; // a walk of several stores, in which a failure looks like a store's end
};

// A manager that found no memory says so at every operation.
bool UseNewManager(CScene& scene)
{
    CContactMgr manager(scene.alice);
    if (!manager.GetPermanentPluginType().empty()) {
        return true;
    }
    EXPECT_FALSE(manager.OpenContact("VCARDPAB-1", nullptr) || manager.CreateContact(nullptr) ||
                 manager.DeleteContact("VCARDPAB-1") ||
                 manager.ChangesSince("VCARDPAB", {}, &scene.version, &scene.deleted,
                                      &scene.changed, &scene.created) ||
                 manager.GetEnumerator());
    return false;
}

const Row kRows[] = {
    {"make a manager", Nothing, Nothing, UseNewManager},
    {"open a contact of the address book", Nothing, [](CScene& s) { s.id = "VCARDPAB-1"; },
     OpenById},
    {"open a mailbox", Nothing, [](CScene& s) { s.id = "UserStore-alice@example.org"; }, OpenById},
    {"open a sender", Nothing, [](CScene& s) { s.id = "INBOX-Ann of Example <ann@example.org>"; },
     OpenById},
    {"create", Nothing, Nothing,
     [](CScene& s) { return (s.contact = s.manager->CreateContact(nullptr)) != nullptr; }},
    {"create from a stored message", [](CScene& s) { s.id = kMessageId, OpenById(s); }, Nothing,
     CreateFromTemplate},
    {"delete", Nothing, [](CScene& s) { s.id = "VCARDPAB-1"; },
     [](CScene& s) { return s.manager->DeleteContact(std::move(s.id)); }},
    {"remove a stored message", Nothing, [](CScene& s) { s.id = kMessageId; },
     [](CScene& s) { return s.manager->DeleteContact(std::move(s.id)); }},
    {"report changes", Nothing, [](CScene& s) { s.created.RemoveAll(); },
     [](CScene& s) {
         return s.manager->ChangesSince("VCARDPAB", {}, &s.version, &s.deleted, &s.changed,
                                        &s.created);
     }},
    {"save", [](CScene& s) { OpenFirst(s), s.contact->SetProperty("Nickname", u"Annie"); }, Nothing,
     [](CScene& s) { return s.contact->Save(); }},
    {"export", OpenFirst, Nothing, [](CScene& s) { return s.contact->ToString(&s.wide); }},
    {"import",
     [](CScene& s) {
         OpenFirst(s),
             s.narrow =
                 "BEGIN:VCARD\nFN:Bob Other of a long name\nEMAIL:bob@a-long-domain.org\nEND:VCARD";
     },
     Nothing, [](CScene& s) { return s.contact->FromString(s.narrow); }},
    {"set a component", OpenFirst, LongText,
     [](CScene& s) { return s.contact->SetProperty("Surname", std::move(s.wide)); }},
    {"ask for the lists", OpenFirst, Nothing,
     [](CScene& s) {
         SetLastError(ERROR_SUCCESS);
         s.entries = s.contact->GetEmails().GetCount() + s.contact->GetTelephones().GetCount() +
                     s.contact->GetAddresses().GetCount() + s.contact->GetIMs().GetCount();
         return GetLastError() != ERROR_NOT_ENOUGH_MEMORY;
     }},
    {"set the list that was there", OpenFirst, Nothing,
     [](CScene& s) { return s.contact->SetEmails(s.contact->GetEmails()) && s.contact->Save(); }},
    {"set a list",
     [](CScene& s) {
         OpenFirst(s);
         s.emails.AddTail(s.contact->GetEmails());
         s.emails.AddTail(s.contact->GetEmails());
     },
     Nothing, [](CScene& s) { return s.contact->SetEmails(s.emails); }},
    {"walk the address book", [](CScene& s) { s.MakeWalk(0); }, Nothing, Walk},
    {"walk the stored messages", [](CScene& s) { s.MakeWalk(1); }, Nothing, Walk},
    {"walk the mailboxes", [](CScene& s) { s.MakeWalk(2); }, Nothing, Walk},
    {"walk the senders", [](CScene& s) { s.MakeWalk(3); }, Nothing, Walk},
    {"walk all stores", Nothing, [](CScene& s) { s.walk.reset(); },
     [](CScene& s) {
         s.walk.reset(s.manager->GetEnumerator());
         return s.walk != nullptr && s.Walk();
     },
     true},
};

std::ptrdiff_t OpenDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

std::string ContactFileOf(const CScene& scene)
{
    return WithoutStamps(scene.store.folder.Read("example.org/alice/" + std::string(kContactFile)));
}

// What a row finds and what it leaves. Told by another scene than the one with the fault, since to
// look at a contact reads its lists.
struct CEffect
{
    std::string before;
    std::string result;
    std::string file;
};

// Runs the row with the fault at that allocation, and false once it has fewer.
bool RunWithFault(const Row& row, int number, const CEffect& effect)
{
    CScene scene;
    row.prepare(scene);
    row.makeArguments(scene);
    bool isDone = false;
    bool wasHit = false;
    {
        const CAllocationFault fault(number);
        isDone = row.run(scene);
        wasHit = fault.WasHit();
    }
    EXPECT_TRUE(isDone || (wasHit && GetLastError() == ERROR_NOT_ENOUGH_MEMORY)) << GetLastError();
    const std::string fileNow = ContactFileOf(scene); // as it was, or as the operation leaves it
    EXPECT_TRUE(fileNow == kCard || fileNow == effect.file) << fileNow;
    if (!isDone) {
        EXPECT_EQ(ContactOf(scene), effect.before);
        row.makeArguments(scene);
        EXPECT_TRUE(row.run(scene)) << "another try: " << GetLastError();
    }
    EXPECT_EQ(isDone ? fileNow : ContactFileOf(scene), effect.file);
    if (!row.isMerged || !wasHit || !isDone) {
        EXPECT_EQ(ResultOf(scene), effect.result);
    }
    return wasHit;
}

} // namespace

TEST(MemoryFaultTest, EveryOperationSurvivesTheFailureOfEachAllocation)
{
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        CEffect effect;
        {
            CScene scene;
            row.prepare(scene);
            row.makeArguments(scene);
            effect.before = ContactOf(scene);
        }
        {
            CScene scene;
            row.prepare(scene);
            row.makeArguments(scene);
            ASSERT_TRUE(row.run(scene)) << GetLastError();
            effect.result = ResultOf(scene);
            effect.file = ContactFileOf(scene);
        }
        const std::size_t blocks = CMemoryDebugging::LiveBlocks();
        const std::ptrdiff_t descriptors = OpenDescriptors();
        int number = 1;
        for (bool wasHit = true; wasHit; ++number) {
            SCOPED_TRACE(number);
            wasHit = RunWithFault(row, number, effect);
            EXPECT_EQ(CMemoryDebugging::LiveBlocks(), blocks);
            EXPECT_EQ(OpenDescriptors(), descriptors);
        }
        EXPECT_GT(number, 2) << "nothing was allocated";
    }
}
