#include "Bare.h"
#include "Fixtures.h"
#include "pab/PABContactEnumerator.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace
{

constexpr std::size_t kBatch = 200;
constexpr std::size_t kSavedBytes = 1000;
constexpr std::size_t kWalkBatch = 1000;
constexpr std::string_view kWanted = "nobody@nowhere.example";

// Contact after contact of a book, in an order that looks random to a cache.
class CIndexes
{
public:
    std::size_t Next() { return m_next = (m_next * 5 + 1) % kPeriod; }

private:
    static constexpr std::size_t kPeriod = std::size_t{1} << 20;
    std::size_t m_next = 0;
};

struct CBookWork
{
    explicit CBookWork(const CShape& shape) : book(SharedBook(shape)), folder(book->path) {}

    std::shared_ptr<CBook> book;
    Bare::CFolder folder;
    CIndexes floorIndexes;
    CIndexes libraryIndexes;
};

CPair OpenById(const CShape& shape)
{
    const auto work = std::make_shared<CBookWork>(shape);
    CPair pair;
    pair.items = kBatch;
    pair.floor = [work] {
        for (std::size_t run = 0; run < kBatch; ++run) {
            const std::string name = work->book->FileName(work->floorIndexes.Next());
            benchmark::DoNotOptimize(Bare::ReadContact(work->folder.File(), name.c_str()));
        }
    };
    pair.library = [work] {
        for (std::size_t run = 0; run < kBatch; ++run) {
            ReadNames(*work->book->Open(work->libraryIndexes.Next()));
        }
    };
    return pair;
}

// Overwrites, looks at the length, moves the folder's time.
void SaveBare(int file, const std::string& text, const Bare::CFolder& folder)
{
    Bare::Write(file, text.data(), text.size());
    benchmark::DoNotOptimize(Bare::SizeOf(file));
    Bare::TouchPath(folder.Path().c_str());
}

CPair SaveHeld(const CShape& /*shape*/)
{
    struct CWork
    {
        CBook book{{1}};
        std::unique_ptr<CContact> contact = book.Open(0);
        Bare::CFolder folder{NewFolder("bare")};
        int file = Bare::Open(folder.File(), "contact", O_RDWR | O_CREAT);
        std::string text = std::string(kSavedBytes, 'x');
    };
    const auto work = std::make_shared<CWork>();
    work->contact->FromString("BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Ann\r\nEND:VCARD\r\n");
    work->contact->SetProperty("Comment", std::u16string(kSavedBytes - 150, u'x'));
    CPair pair;
    pair.items = kBatch;
    pair.floor = [work] {
        for (std::size_t run = 0; run < kBatch; ++run) {
            SaveBare(work->file, work->text, work->folder);
        }
    };
    pair.library = [work] {
        for (std::size_t run = 0; run < kBatch; ++run) {
            work->contact->SetProperty("FullName", u"Ann Archer");
            Require(work->contact->Save(), "a contact is not saved");
        }
    };
    return pair;
}

CPair OpenChangeSaveClose(const CShape& shape)
{
    struct CWork : CBookWork
    {
        explicit CWork(const CShape& shape) : CBookWork(shape)
        {
            for (std::size_t number = 0; number < book->ids.size(); ++number) {
                Bare::CreateFile(bare.Path() + '/' + book->FileName(number), text);
            }
        }

        Bare::CFolder bare{NewFolder("bare")};
        std::string text = Cards(false).front();
        std::array<char, 65536> buffer;
    };
    const auto work = std::make_shared<CWork>(shape);
    CPair pair;
    pair.items = kBatch;
    pair.floor = [work] {
        for (std::size_t run = 0; run < kBatch; ++run) {
            const std::string name = work->book->FileName(work->floorIndexes.Next());
            const int file = Bare::Open(work->bare.File(), name.c_str());
            Bare::Lock(file);
            Bare::Read(file, work->buffer.data(), work->buffer.size());
            SaveBare(file, work->text, work->bare);
            Bare::Close(file);
        }
    };
    pair.library = [work] {
        for (std::size_t run = 0; run < kBatch; ++run) {
            const auto contact = work->book->Open(work->libraryIndexes.Next());
            contact->SetProperty("Nickname", u"Annie");
            Require(contact->Save(), "a contact is not saved");
        }
    };
    return pair;
}

bool IsContactFile(const char* name)
{
    const std::size_t length = std::strlen(name);
    return length > 4 && std::strcmp(name + length - 4, ".vcf") == 0;
}

// A walk in batches: both sides go on where their batch before ended.
struct CWalkWork : CBookWork
{
    explicit CWalkWork(const CShape& shape) : CBookWork(shape), walk(book->path) {}

    // Reads the next live contact.
    std::size_t NextBare()
    {
        for (;;) {
            const char* name = listing.Next();
            if (name != nullptr && IsContactFile(name) && Bare::Stat(folder.File(), name) > 0) {
                return Bare::ReadContact(folder.File(), name);
            }
        }
    }

    CContact& Next()
    {
        if (!walk.MoveNext()) {
            Require(walk.Start(nullptr, nullptr) && walk.MoveNext(), "a walk does not begin");
        }
        return *walk.GetCurrent();
    }

    Bare::CListing listing{folder.File()};
    CPABContactEnumerator walk;
};

CPair WalkInBatches(const CShape& shape, void (*read)(CContact&))
{
    const auto work = std::make_shared<CWalkWork>(shape);
    CPair pair;
    pair.items = std::min(kWalkBatch, work->book->ids.size());
    pair.runsOfAll = work->book->ids.size() / pair.items;
    pair.floor = [work, items = pair.items] {
        for (std::size_t run = 0; run < items; ++run) {
            benchmark::DoNotOptimize(work->NextBare());
        }
    };
    pair.library = [work, read, items = pair.items] {
        for (std::size_t run = 0; run < items; ++run) {
            read(work->Next());
        }
    };
    return pair;
}

CPair Walk(const CShape& shape)
{
    return WalkInBatches(shape, ReadNames);
}

// Looks for an address that no contact has.
CPair Search(const CShape& shape)
{
    return WalkInBatches(shape, [](CContact& contact) {
        for (const CContactEmail& email : contact.GetEmails()) {
            Require(email.GetAddress().RawAddress() != kWanted, "a contact too many");
        }
    });
}

constexpr char kRead[] = "open, flock, read, close";
constexpr char kWalkStep[] = "statx, open, flock, read, close";
constexpr char kSave[] = "pwrite, fstat, utimensat of the folder";
constexpr char kReadAndSave[] = "open, flock, read, pwrite, fstat, utimensat, close";
const std::vector<CShape> kSizes = {{1000}, {10000}, {10000, true}, {100000}};
const std::vector<CShape> kWalkSizes = {
    {1000}, {10000}, {10000, true}, {10000, false, true}, {100000}};

} // namespace

COperations BookOperations()
{
    return {
        {"open by id, read, close", "contact", kRead, kSizes, 100, OpenById},
        {"walk", "contact", kWalkStep, kWalkSizes, 60, Walk},
        {"search by a walk", "contact", kWalkStep, {{10000}}, 60, Search},
        {"save, held", "save", kSave, {{}}, 100, SaveHeld},
        {"open, change, save, close", "contact", kReadAndSave, {{10000}}, 60, OpenChangeSaveClose},
    };
}
