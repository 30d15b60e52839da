#pragma once

#include "pab/PABContact.h"
#include "pab/PABContactEnumerator.h"
#include "pab/PABPlugin.h"
#include "platform/LastError.h"
#include "support/ContactText.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <utility>

using ContactPtr = std::unique_ptr<CContact>;

inline ContactMgr::CContactId IdOf(std::uint32_t number)
{
    return {CPABContact::kPluginType, number};
}

// An address book folder, and the plug-in for it.
struct CBookFolder
{
    explicit CBookFolder(std::string folder) : path(std::move(folder)), plugin(path) {}

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

    // The contacts that a walk shows.
    std::multiset<std::uint32_t> Walk(std::string* faults = nullptr) const
    {
        CPABContactEnumerator walk(path);
        std::multiset<std::uint32_t> numbers;
        for (walk.Start(nullptr, nullptr); walk.MoveNext();) {
            numbers.insert(walk.GetCurrent()->GetId().ToNumber());
        }
        if (faults != nullptr) {
            *faults = FaultsOf(walk);
        }
        return numbers;
    }

    ContactPtr Open(std::uint32_t number)
    {
        CContact* contact = nullptr;
        SetLastError(ERROR_SUCCESS);
        plugin.OpenContact(IdOf(number), &contact);
        return ContactPtr(contact);
    }

    bool Delete(std::uint32_t number) { return plugin.DeleteContact(IdOf(number)); }

    const std::string path;
    CPABPlugin plugin;
};
