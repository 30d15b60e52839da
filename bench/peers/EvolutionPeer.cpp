// Cards with libebook-contacts, and a whole address book with the local store of
// evolution-data-server: SQLite, in this process, without D-Bus.
//
// Usage: EvolutionPeer CORPUS FOLDER

#include "Peer.h"

#include <libedata-book/libedata-book.h>

#include <functional>
#include <memory>

namespace
{

constexpr char kCards[] = "libebook-contacts";
constexpr char kStore[] = "evolution-data-server";
constexpr std::size_t kCardCount = 500;
constexpr std::size_t kStoreCount = 10000;

struct CUnref
{
    void operator()(void* object) const { g_object_unref(object); }
};
using CardPtr = std::unique_ptr<EVCard, CUnref>;
using ContactPtr = std::unique_ptr<EContact, CUnref>;
using StorePtr = std::unique_ptr<EBookSqlite, CUnref>;

void MeasureCards(const std::string& path, const std::string& suffix)
{
    const std::vector<std::string> cards = ReadCards(path, kCardCount);
    Measure(kCards, ("read" + suffix).c_str(), cards.size(), 41, [&] {
        for (const std::string& card : cards) {
            const CardPtr read(e_vcard_new_from_string(card.c_str()));
            Require(e_vcard_get_attributes(read.get()) != nullptr, "a card is not read");
        }
    });
    std::vector<CardPtr> read;
    for (const std::string& card : cards) {
        read.emplace_back(e_vcard_new_from_string(card.c_str()));
        e_vcard_get_attributes(read.back().get());
    }
    Measure(kCards, ("text" + suffix).c_str(), cards.size(), 41, [&] {
        for (const CardPtr& card : read) {
            g_free(e_vcard_to_string(card.get(), EVC_FORMAT_VCARD_30));
        }
    });
}

std::string UidOf(std::size_t number)
{
    return "contact-" + std::to_string(number);
}

void ReadNames(const char* text)
{
    const ContactPtr contact(e_contact_new_from_vcard(text));
    Require(e_contact_get_const(contact.get(), E_CONTACT_UID) != nullptr, "a contact has no UID");
    g_free(e_contact_get(contact.get(), E_CONTACT_FULL_NAME));
    g_free(e_contact_get(contact.get(), E_CONTACT_EMAIL_1));
}

StorePtr FillStore(const std::vector<std::string>& cards, const std::string& path)
{
    GSList* contacts = nullptr;
    for (std::size_t number = 0; number < cards.size(); ++number) {
        EContact* contact = e_contact_new_from_vcard(cards[number].c_str());
        e_contact_set(contact, E_CONTACT_UID, UidOf(number).c_str());
        contacts = g_slist_prepend(contacts, contact);
    }
    StorePtr store(e_book_sqlite_new(path.c_str(), nullptr, nullptr, nullptr));
    Require(store != nullptr, "the store is not opened");
    const double begin = ThreadSeconds();
    Require(e_book_sqlite_add_contacts(store.get(), contacts, nullptr, FALSE, nullptr, nullptr),
            "the contacts are not added");
    std::printf("{\"peer\": \"%s\", \"operation\": \"create\", \"us\": %.3f}\n", kStore,
                1e6 * (ThreadSeconds() - begin) / static_cast<double>(cards.size()));
    g_slist_free_full(contacts, g_object_unref);
    return store;
}

void Walk(EBookSqlite* store)
{
    GSList* found = nullptr;
    Require(e_book_sqlite_search(store, nullptr, FALSE, &found, nullptr, nullptr), "no search");
    Require(g_slist_length(found) == kStoreCount, "contacts are missing");
    for (const GSList* one = found; one != nullptr; one = one->next) {
        ReadNames(static_cast<const EbSqlSearchData*>(one->data)->vcard);
    }
    g_slist_free_full(found, [](void* data) {
        e_book_sqlite_search_data_free(static_cast<EbSqlSearchData*>(data));
    });
}

void OpenSome(EBookSqlite* store)
{
    for (std::size_t number = 0; number < kStoreCount; number += 10) {
        char* text = nullptr;
        Require(e_book_sqlite_get_vcard(store, UidOf(number).c_str(), FALSE, &text, nullptr),
                "a contact is not found");
        ReadNames(text);
        g_free(text);
    }
}

} // namespace

int main(int count, char** arguments)
{
    Require(count == 3, "usage: EvolutionPeer CORPUS FOLDER");
    const std::string corpus = arguments[1];
    MeasureCards(corpus + "/plain/all.vcf", "");
    MeasureCards(corpus + "/photos/all.vcf", ", photos");
    const StorePtr store = FillStore(ReadCards(corpus + "/plain/all.vcf", kStoreCount),
                                     std::string(arguments[2]) + "/contacts.db");
    Measure(kStore, "walk", kStoreCount, 5, [&] { Walk(store.get()); });
    Measure(kStore, "open", kStoreCount / 10, 15, [&] { OpenSome(store.get()); });
    return 0;
}
