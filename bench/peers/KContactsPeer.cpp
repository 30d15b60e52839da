// Cards with KContacts.
//
// Usage: KContactsPeer CORPUS

#include "Peer.h"

#include <KContacts/VCardConverter>

namespace
{

constexpr char kPeer[] = "KContacts";
constexpr std::size_t kCardCount = 500;

void MeasureCards(const std::string& path, const std::string& suffix)
{
    std::vector<QByteArray> cards;
    for (const std::string& card : ReadCards(path, kCardCount)) {
        cards.push_back(QByteArray::fromStdString(card));
    }
    KContacts::VCardConverter converter;
    std::vector<KContacts::Addressee> contacts(cards.size());
    Measure(kPeer, ("read" + suffix).c_str(), cards.size(), 21, [&] {
        for (std::size_t card = 0; card < cards.size(); ++card) {
            contacts[card] = converter.parseVCard(cards[card]);
            Require(!contacts[card].formattedName().isEmpty(), "a card is not read");
        }
    });
    Measure(kPeer, ("text" + suffix).c_str(), cards.size(), 21, [&] {
        for (const KContacts::Addressee& contact : contacts) {
            Require(!converter.createVCard(contact, KContacts::VCardConverter::v3_0).isEmpty(),
                    "a card is not written");
        }
    });
}

} // namespace

int main(int count, char** arguments)
{
    Require(count == 2, "usage: KContactsPeer CORPUS");
    const std::string corpus = arguments[1];
    MeasureCards(corpus + "/plain/all.vcf", "");
    MeasureCards(corpus + "/photos/all.vcf", ", photos");
    return 0;
}
