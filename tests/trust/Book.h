#pragma once

#include "pab/PABContact.h"
#include "pab/PABContactEnumerator.h"
#include "pab/PABPlugin.h"
#include "platform/SystemCalls.h"
#include "trust/Trial.h"

#include <cstdlib>
#include <filesystem>
#include <memory>

using ContactPtr = std::unique_ptr<CContact>;

inline ContactMgr::CContactId IdOf(std::uint32_t number)
{
    return {CPABContact::kPluginType, number};
}

inline std::uint64_t LastWriteOf(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data);
    return FileTimeToCount(data.ftLastWriteTime);
}

// A text in which every character depends on the seed, so that no mixture of two goes unnoticed.
inline std::u16string TextOf(std::uint32_t seed, std::size_t size)
{
    const std::string head = std::to_string(seed) + ' ' + std::to_string(size) + ' ';
    std::u16string text(head.begin(), head.end());
    for (std::size_t index = 0; index < size; ++index) {
        text += static_cast<char16_t>(u'a' + (index + seed) % 26);
    }
    return text;
}

inline bool SaveText(CContact& contact, std::uint32_t seed, std::size_t size)
{
    contact.SetProperty("Comment", TextOf(seed, size));
    return contact.Save();
}

// The seed of the text that a contact holds; 0 where there is no contact, or its text is not whole.
inline std::uint32_t SeedOf(const ContactPtr& contact)
{
    std::u16string text;
    if (contact == nullptr || !contact->GetProperty("Comment", &text)) {
        return 0;
    }
    char* end = nullptr;
    const std::string head(text.begin(), text.end());
    const auto seed = static_cast<std::uint32_t>(std::strtoul(head.c_str(), &end, 10));
    return text == TextOf(seed, std::strtoul(end, nullptr, 10)) ? seed : 0;
}

// Takes a step before each write over a contact's text: in a save, behind the redo file.
struct CBeforeOverwrite : CSystemCalls
{
    using Step = std::function<void(int file, const void* bytes, std::size_t size)>;

    explicit CBeforeOverwrite(Step taken) : step(std::move(taken)) { Replace(this); }
    ~CBeforeOverwrite() override { Replace(nullptr); }
    ssize_t WriteAt(int file, const void* bytes, std::size_t size, off_t position) override
    {
        const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file));
        if (path.parent_path().filename() != ".redo") {
            step(file, bytes, size);
        }
        return CSystemCalls::WriteAt(file, bytes, size, position);
    }

    const Step step;
};

// An address book folder, and the plug-in for it.
struct CBook
{
    explicit CBook(std::string folder) : path(std::move(folder)), plugin(path) {}

    std::string File(std::uint32_t number, const char* folder = "/") const
    {
        return path + folder + CPABContact::ContactIdToFileName(IdOf(number));
    }

    std::ptrdiff_t Counters() const
    {
        return std::ranges::count_if(
            std::filesystem::directory_iterator(path),
            [](const auto& entry) { return entry.path().extension() == ".nxt"; });
    }

    // How many contacts a walk shows.
    std::size_t Walk() const
    {
        CPABContactEnumerator walk(path);
        std::size_t count = 0;
        for (walk.Start(nullptr, nullptr); walk.MoveNext(); ++count) {
        }
        return count;
    }

    ContactPtr Open(std::uint32_t number)
    {
        CContact* contact = nullptr;
        SetLastError(ERROR_SUCCESS);
        plugin.OpenContact(IdOf(number), &contact);
        return ContactPtr(contact);
    }

    // Tries again for a while if somebody holds the contact. A network file system gives up a dead
    // process's lock a little later.
    ContactPtr OpenPatiently(std::uint32_t number)
    {
        ContactPtr contact = Open(number);
        for (int attempt = 0;
             contact == nullptr && attempt < 20'000 && GetLastError() == ERROR_SHARING_VIOLATION;
             ++attempt) {
            SleepMicroseconds(RandomBelow(1000));
            contact = Open(number);
        }
        return contact;
    }

    std::uint32_t Seed(std::uint32_t number) { return SeedOf(OpenPatiently(number)); }

    bool Change(std::uint32_t number, std::uint32_t seed, std::size_t size)
    {
        const ContactPtr contact = OpenPatiently(number);
        return contact != nullptr && SaveText(*contact, seed, size);
    }

    // The same in a process that ends in the middle of the save: behind the redo file, with half of
    // the new text over the old one, and all of that on the disk.
    bool ChangeHalfWay(std::uint32_t number, std::uint32_t seed, std::size_t size)
    {
        return HaveSucceeded({StartWorker([&] {
            const CBeforeOverwrite death([](int file, const void* bytes, std::size_t whole) {
                _exit(pwrite(file, bytes, whole / 2, 0) > 0 && fsync(file) == 0 ? 0 : 1);
            });
            Change(number, seed, size);
            return false;
        })});
    }

    std::uint32_t New(std::uint32_t seed, std::size_t size)
    {
        const ContactPtr contact(plugin.CreateContact(nullptr));
        return contact != nullptr && SaveText(*contact, seed, size) ? contact->GetId().ToNumber()
                                                                    : 0;
    }

    bool Delete(std::uint32_t number) { return plugin.DeleteContact(IdOf(number)); }

    const std::string path;
    CPABPlugin plugin;
};
