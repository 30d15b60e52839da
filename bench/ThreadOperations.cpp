#include "Bare.h"
#include "Fixtures.h"

#include <thread>

namespace
{

constexpr std::size_t kOpened = 2000;
constexpr std::size_t kSaved = 300;
constexpr std::size_t kContacts = 1024; // a multiple of the threads, so that no two meet

// Calls `work` with the numbers 0 to `threads` - 1, each in a thread of its own.
void InThreads(std::size_t threads, const std::function<void(std::size_t)>& work)
{
    std::vector<std::thread> running;
    for (std::size_t thread = 0; thread < threads; ++thread) {
        running.emplace_back(work, thread);
    }
    for (std::thread& thread : running) {
        thread.join();
    }
}

// As many books as there are; each thread has the one of its number, or all have one. Each works
// on contacts of its own.
struct CThreadWork
{
    CThreadWork(const CShape& shape, std::size_t bookCount) : threads(shape.threads)
    {
        for (std::size_t book = 0; book < bookCount; ++book) {
            books.push_back(std::make_unique<CBook>(CShape{kContacts}));
        }
    }

    CBook& BookOf(std::size_t thread) { return *books[thread % books.size()]; }
    std::size_t Index(std::size_t thread, std::size_t run) const { return run * threads + thread; }

    const std::size_t threads;
    std::vector<std::unique_ptr<CBook>> books;
};

CPair OpenInThreads(const CShape& shape, std::size_t bookCount)
{
    const auto work = std::make_shared<CThreadWork>(shape, bookCount);
    CPair pair;
    pair.items = kOpened * shape.threads;
    pair.isWallTime = true;
    pair.floor = [work] {
        InThreads(work->threads, [work](std::size_t thread) {
            const Bare::CFolder folder(work->BookOf(thread).path);
            for (std::size_t run = 0; run < kOpened; ++run) {
                const std::string name = work->BookOf(thread).FileName(work->Index(thread, run));
                benchmark::DoNotOptimize(Bare::ReadContact(folder.File(), name.c_str()));
            }
        });
    };
    pair.library = [work] {
        InThreads(work->threads, [work](std::size_t thread) {
            for (std::size_t run = 0; run < kOpened; ++run) {
                ReadNames(*work->BookOf(thread).Open(work->Index(thread, run)));
            }
        });
    };
    return pair;
}

// Each thread saves one contact again and again.
CPair SaveInThreads(const CShape& shape, std::size_t bookCount)
{
    const auto work = std::make_shared<CThreadWork>(shape, bookCount);
    CPair pair;
    pair.items = kSaved * shape.threads;
    pair.isWallTime = true;
    pair.floor = [work] {
        InThreads(work->threads, [work](std::size_t thread) {
            const CBook& book = work->BookOf(thread);
            const std::string text = Cards(false)[thread];
            const std::string path = book.path + "/bare" + std::to_string(thread);
            const int file = Bare::Open(AT_FDCWD, path.c_str(), O_RDWR | O_CREAT);
            for (std::size_t run = 0; run < kSaved; ++run) {
                Bare::Write(file, text.data(), text.size());
                benchmark::DoNotOptimize(Bare::SizeOf(file));
                Bare::TouchPath(book.path.c_str());
            }
            Bare::Close(file);
        });
    };
    pair.library = [work] {
        InThreads(work->threads, [work](std::size_t thread) {
            const auto contact = work->BookOf(thread).Open(work->Index(thread, 0));
            for (std::size_t run = 0; run < kSaved; ++run) {
                contact->SetProperty("FullName", u"Ann Archer");
                Require(contact->Save(), "a contact is not saved");
            }
        });
    };
    return pair;
}

CPair OpenInOne(const CShape& shape)
{
    return OpenInThreads(shape, 1);
}

CPair OpenInMany(const CShape& shape)
{
    return OpenInThreads(shape, shape.threads);
}

CPair SaveInOne(const CShape& shape)
{
    return SaveInThreads(shape, 1);
}

CPair SaveInMany(const CShape& shape)
{
    return SaveInThreads(shape, shape.threads);
}

constexpr char kRead[] = "open, flock, read, close";
constexpr char kSave[] = "pwrite, fstat, utimensat of the folder";
std::vector<CShape> UpToAllCores()
{
    std::vector<CShape> shapes;
    for (std::size_t threads = 1; threads <= std::max(1u, std::thread::hardware_concurrency());
         threads *= 2) {
        shapes.push_back({0, false, false, threads});
    }
    return shapes;
}

} // namespace

COperations ThreadOperations()
{
    return {
        {"threads open, one address book", "contact", kRead, UpToAllCores(), 20, OpenInOne},
        {"threads open, a book each", "contact", kRead, UpToAllCores(), 20, OpenInMany},
        {"threads save, one address book", "save", kSave, UpToAllCores(), 20, SaveInOne},
        {"threads save, a book each", "save", kSave, UpToAllCores(), 20, SaveInMany},
    };
}
