#include "BareText.h"
#include "Fixtures.h"
#include "pab/PABContact.h"
#include "platform/LastError.h"
#include "platform/SystemCalls.h"

#include <cerrno>

namespace
{

constexpr std::size_t kCards = 500;

// Every call fails as on a full disk.
class CRefusingCalls : public CSystemCalls
{
public:
    CRefusingCalls() { Replace(this); }
    ~CRefusingCalls() override { Replace(&m_before); }

protected:
    int Begin(const char* /*call*/) override { return ENOSPC; }

private:
    CSystemCalls& m_before = Current();
};

std::vector<std::string> FirstCards(const CShape& shape)
{
    const std::vector<std::string>& cards = Cards(shape.hasPhotos);
    Require(cards.size() >= kCards, "the corpus is too small");
    return {cards.begin(), cards.begin() + kCards};
}

void ReadEverything(CContact& contact)
{
    CContactPropertyList names;
    Require(CContactProperties::Instance().GetList(names), "no names of properties");
    std::u16string value;
    for (POSITION position = names.GetHeadPosition(); position != nullptr;) {
        contact.GetProperty(names.GetNext(position), &value);
        benchmark::DoNotOptimize(value.data());
    }
    contact.GetFirstName(&value);
    contact.GetLastName(&value);
    benchmark::DoNotOptimize(contact.GetEmails().GetCount() + contact.GetTelephones().GetCount() +
                             contact.GetAddresses().GetCount() + contact.GetIMs().GetCount());
}

CPair Parse(const CShape& shape, void (*read)(CContact&))
{
    const auto cards = std::make_shared<const std::vector<std::string>>(FirstCards(shape));
    CPair pair;
    pair.items = cards->size();
    pair.floor = [cards] {
        for (const std::string& card : *cards) {
            benchmark::DoNotOptimize(Bare::ParseCard(card));
        }
    };
    pair.library = [cards, read] {
        for (const std::string& card : *cards) {
            CPABContact contact;
            Require(contact.FromString(card), "a card is not read");
            read(contact);
        }
    };
    return pair;
}

CPair ParseForNothing(const CShape& shape)
{
    return Parse(shape, [](CContact&) {});
}

CPair ParseForEverything(const CShape& shape)
{
    return Parse(shape, ReadEverything);
}

// The floor builds the texts of the cards, the library calls `write` for contacts that hold them.
CPair Write(const CShape& shape, void (*write)(CContact&))
{
    struct CWork
    {
        std::vector<std::vector<std::string>> lines;
        std::vector<std::unique_ptr<CContact>> contacts;
        CBook book{{}};
    };
    const auto work = std::make_shared<CWork>();
    for (const std::string& card : FirstCards(shape)) {
        work->lines.push_back(Bare::UnfoldLines(card));
        work->contacts.push_back(work->book.Create());
        Require(work->contacts.back()->FromString(card), "a card is not read");
        ReadEverything(*work->contacts.back());
    }
    CPair pair;
    pair.items = kCards;
    pair.floor = [work] {
        for (const std::vector<std::string>& lines : work->lines) {
            benchmark::DoNotOptimize(Bare::FoldLines(lines).data());
        }
    };
    pair.library = [work, write] {
        for (const std::unique_ptr<CContact>& contact : work->contacts) {
            write(*contact);
        }
    };
    return pair;
}

// A save that the disk refuses at its first call has built its text and done little else.
CPair WriteForSave(const CShape& shape)
{
    return Write(shape, [](CContact& contact) {
        const CRefusingCalls calls;
        Require(!contact.Save() && GetLastError() == ERROR_DISK_FULL, "a save is not refused");
    });
}

CPair WriteForCaller(const CShape& shape)
{
    return Write(shape, [](CContact& contact) {
        std::u16string text;
        Require(contact.ToString(&text), "no text of a card");
        benchmark::DoNotOptimize(text.data());
    });
}

constexpr char kTakeApart[] = "unfold, split, 2 blocks of memory a line, UTF-16";
constexpr char kCopy[] = "copy the lines, folded, to one block of memory";
const std::vector<CShape> kShapes = {{}, {0, true}};

} // namespace

COperations TextOperations()
{
    return {
        {"read a text, nothing asked", "card", kTakeApart, kShapes, 100, ParseForNothing},
        {"read a text, everything asked", "card", kTakeApart, kShapes, 100, ParseForEverything},
        {"text for a save", "card", kCopy, kShapes, 100, WriteForSave},
        {"text for a caller", "card", kCopy, kShapes, 100, WriteForCaller},
    };
}
