#include "Bare.h"
#include "Fixtures.h"
#include "pab/PABContact.h"
#include "pab/PABContactEnumerator.h"

#include <map>
#include <utility>

namespace
{

constexpr std::size_t kBatch = 50;
constexpr std::size_t kFewChanges = 10;
constexpr std::size_t kPolls = 2000;

// A folder that a floor makes contact files in, of the size of a book.
class CBareBook
{
public:
    explicit CBareBook(std::size_t count)
    {
        Bare::CreateFile(m_folder.Path() + "/counter.1", "");
        while (m_made < count) {
            Create(Cards(false)[m_made % Cards(false).size()]);
        }
    }

    // Claims a number, makes the file, writes the text and the times.
    void Create(const std::string& text)
    {
        const std::string counter = "counter." + std::to_string(m_made + 1);
        const std::string next = "counter." + std::to_string(m_made + 2);
        Bare::Rename(m_folder.File(), counter.c_str(), next.c_str());
        const int file =
            Bare::Open(m_folder.File(), Name(m_made++).c_str(), O_RDWR | O_CREAT | O_EXCL);
        Bare::Lock(file);
        Bare::Write(file, text.data(), text.size());
        Bare::Touch(file);
        Bare::TouchPath(m_folder.Path().c_str());
        Bare::Close(file);
    }

    void DeleteNext()
    {
        const int file = Bare::Open(m_folder.File(), Name(m_deleted++).c_str());
        Bare::Lock(file);
        Bare::Truncate(file);
        Bare::Touch(file);
        Bare::TouchPath(m_folder.Path().c_str());
        Bare::Close(file);
    }

private:
    // As scattered as the names of contacts.
    static std::string Name(std::size_t number)
    {
        return CPABContact::ContactIdToFileName({"", static_cast<std::uint32_t>(number + 1)});
    }

    Bare::CFolder m_folder{NewFolder("bare")};
    std::size_t m_made = 0;
    std::size_t m_deleted = 0;
};

// A book and a floor's that grow from one measure to the next, since large ones take long to make.
struct CGrowing
{
    explicit CGrowing(const CShape& shape) : book(shape), bareBook(shape.count) {}

    CBook book;
    CBareBook bareBook;
};

std::shared_ptr<CGrowing> GrowingBook(const CShape& shape, std::size_t number)
{
    static std::map<std::pair<std::size_t, std::size_t>, std::shared_ptr<CGrowing>> books;
    auto& book = books[{shape.count, number}];
    if (book == nullptr) {
        book = std::make_shared<CGrowing>(shape);
    }
    return book;
}

// Contacts are made in the books in turn.
template <std::size_t kBooks>
CPair CreateInTurn(const CShape& shape)
{
    std::vector<std::shared_ptr<CGrowing>> books;
    for (std::size_t number = 0; number < kBooks; ++number) {
        books.push_back(GrowingBook(shape, number));
    }
    CPair pair;
    pair.items = kBatch;
    pair.floor = [books] {
        for (std::size_t run = 0; run < kBatch; ++run) {
            books[run % kBooks]->bareBook.Create(Cards(false)[run]);
        }
    };
    pair.library = [books] {
        for (std::size_t run = 0; run < kBatch; ++run) {
            books[run % kBooks]->book.Create();
        }
    };
    return pair;
}

CPair Delete(const CShape& shape)
{
    struct CWork : CGrowing
    {
        using CGrowing::CGrowing;

        std::vector<ContactMgr::CContactId> fresh;
    };
    const auto work = std::make_shared<CWork>(shape);
    CPair pair;
    pair.items = kBatch;
    pair.prepare = [work] {
        work->fresh.clear();
        for (std::size_t run = 0; run < kBatch; ++run) {
            work->bareBook.Create(Cards(false)[run]);
            work->fresh.push_back(work->book.Create()->GetId());
        }
    };
    pair.floor = [work] {
        for (std::size_t run = 0; run < kBatch; ++run) {
            work->bareBook.DeleteNext();
        }
    };
    pair.library = [work] {
        for (const ContactMgr::CContactId& id : work->fresh) {
            Require(work->book.plugin.DeleteContact(id), "a contact is not deleted");
        }
    };
    return pair;
}

struct CChanges
{
    FILETIME version;
    ContactMgr::CContactIdList deleted;
    ContactMgr::CContactIdList changed;
    ContactMgr::CContactIdList created;
};

CChanges ChangesOf(CBook& book, FILETIME since)
{
    CChanges changes;
    Require(book.plugin.ChangesSince(since, &changes.version, &changes.deleted, &changes.changed,
                                     &changes.created),
            "no report of changes");
    return changes;
}

void ReportBare(const Bare::CFolder& folder)
{
    Bare::CListing listing(folder.File());
    while (const char* name = listing.Next()) {
        benchmark::DoNotOptimize(Bare::Stat(folder.File(), name));
    }
}

CPair Report(const CShape& shape, FILETIME since, std::size_t expected)
{
    struct CWork
    {
        std::shared_ptr<CBook> book;
        Bare::CFolder folder;
    };
    const std::shared_ptr<CBook> book = SharedBook(shape);
    const std::shared_ptr<CWork> work(new CWork{book, Bare::CFolder(book->path)});
    CPair pair;
    pair.items = shape.count;
    pair.floor = [work] { ReportBare(work->folder); };
    pair.library = [work, since, expected] {
        const CChanges changes = ChangesOf(*work->book, since);
        Require(changes.changed.GetCount() + changes.created.GetCount() ==
                    static_cast<decltype(changes.changed.GetCount())>(expected),
                "another number of changes");
    };
    return pair;
}

CPair ReportFew(const CShape& shape)
{
    const std::shared_ptr<CBook> book = SharedBook(shape);
    const FILETIME since = ChangesOf(*book, {}).version;
    for (std::size_t number = 0; number < kFewChanges; ++number) {
        const auto contact = book->Open(number);
        contact->SetProperty("Nickname", u"Annie");
        Require(contact->Save(), "a contact is not saved");
    }
    return Report(shape, since, kFewChanges);
}

CPair ReportAll(const CShape& shape)
{
    return Report(shape, {}, SharedBook(shape)->ids.size());
}

CPair PollBook(const CShape& shape)
{
    struct CWork
    {
        std::shared_ptr<CBook> book;
        CPABContactEnumerator walk;
    };
    const std::shared_ptr<CBook> book = SharedBook(shape);
    const std::shared_ptr<CWork> work(new CWork{book, CPABContactEnumerator(book->path)});
    CPair pair;
    pair.items = kPolls;
    pair.floor = [work] {
        for (std::size_t run = 0; run < kPolls; ++run) {
            benchmark::DoNotOptimize(Bare::Stat(AT_FDCWD, work->book->path.c_str()));
        }
    };
    pair.library = [work, version = ChangesOf(*book, {}).version] {
        for (std::size_t run = 0; run < kPolls; ++run) {
            bool isChanged = true;
            Require(work->walk.Start(&version, &isChanged) && !isChanged, "a poll tells a change");
        }
    };
    return pair;
}

constexpr char kStatEach[] = "getdents64, statx of each";
constexpr char kCreate[] = "rename of a counter, open, flock, pwrite, futimens, utimensat, close";
constexpr char kEmpty[] = "open, flock, ftruncate, futimens, utimensat, close";
const std::vector<CShape> kReports = {{1000}, {10000}, {10000, false, true}};
const std::vector<CShape> kLarge = {{100000}};

} // namespace

COperations ChangeOperations()
{
    return {
        {"change report, few changed", "entry", kStatEach, kReports, 20, ReportFew},
        {"change report, few changed", "entry", kStatEach, kLarge, 5, ReportFew},
        {"change report, all changed", "entry", kStatEach, kReports, 20, ReportAll},
        {"change report, all changed", "entry", kStatEach, kLarge, 5, ReportAll},
        {"poll of the address book", "poll", "statx of the folder", {{10000}}, 60, PollBook},
        {"create and save", "contact", kCreate, {{1000}, {10000}, {100000}}, 40, CreateInTurn<1>},
        {"create and save, two folders", "contact", kCreate, {{1000}}, 40, CreateInTurn<2>},
        {"create and save, two folders", "contact", kCreate, kLarge, 8, CreateInTurn<2>},
        {"delete", "contact", kEmpty, {{1000}}, 40, Delete},
    };
}
