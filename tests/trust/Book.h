#pragma once

#include "support/BookFolder.h"
#include "support/FaultySystemCalls.h"
#include "support/Files.h"
#include "trust/Trial.h"

#include <cstdlib>

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
struct CBeforeOverwrite : CPlantedCalls
{
    using Step = std::function<void(int file, const void* bytes, std::size_t size)>;

    explicit CBeforeOverwrite(Step taken) : step(std::move(taken)) {}
    ssize_t WriteAt(int file, const void* bytes, std::size_t size, off_t position) override
    {
        if (PathOf(file).parent_path().filename() != ".redo") {
            step(file, bytes, size);
        }
        return CSystemCalls::WriteAt(file, bytes, size, position);
    }

    const Step step;
};

// An address book whose contacts hold such texts.
struct CBook : CBookFolder
{
    using CBookFolder::CBookFolder;

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
};
