#include "search/AddressSearch.h"

#include "base/Session.h"
#include "base/Stores.h"
#include "base/Text.h"
#include "search/AddressSources.h"
#include "text/Rfc822Address.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <unordered_set>
#include <utility>

namespace
{

struct CFound
{
    const CAddressEntry* entry;
    EMatch match;
};

bool IsBetter(const CFound& left, const CFound& right)
{
    const auto rank = [](const CFound& found) {
        const CAddressEntry& entry = *found.entry;
        return std::tuple(-static_cast<int>(found.match), -entry.weight, entry.name.empty(),
                          entry.first.plain, entry.address, entry.id);
    };
    return rank(left) < rank(right);
}

std::vector<CFound> FindIn(const CAddressEntries& entries, const CSearchWords& words)
{
    std::vector<CFound> found;
    for (const CAddressEntry& entry : entries) {
        const EMatch match = words.Match(entry.first, entry.second);
        if (match != EMatch::kNone) {
            found.push_back({&entry, match});
        }
    }
    std::ranges::sort(found, IsBetter);
    return found;
}

} // namespace

void CAddressSearch::Load(bool usesFile)
{
    CAddressSources sources(m_session);
    CAddressIndexFile file(usesFile ? sources.Key() : "");
    if (!file.Read(&m_index.emplace())) {
        m_index.emplace();
    }
    if (sources.Update(&file, &*m_index)) {
        if (m_index->messages.empty()) {
            file.ReadMessages(&*m_index);
        }
        file.Write(*m_index);
    }
    m_domain = sources.ReadDomain(&*m_index);
}

std::vector<CAddressSearch::CAnswer> CAddressSearch::Find(const CSearchWords& words) const
{
    const std::pair<std::string_view, const CAddressEntries&> stores[] = {
        {kAddressBook, m_index->contactAddresses},
        {kOlderWebClient, m_index->olderAddresses},
        {kMailboxDirectory, m_domain},
        {kSenders, m_index->senderAddresses}};
    std::vector<CAnswer> answers;
    std::unordered_set<std::string> before; // the addresses that the stores in front have answered
    for (const auto& [store, entries] : stores) {
        std::unordered_set<std::string> here;
        std::unordered_set<std::string> named; // with their names
        for (const CFound& one : FindIn(entries, words)) {
            const std::string key = LowerText(one.entry->address);
            here.insert(key);
            if (!before.contains(key) &&
                named.insert(key + '\n' + std::string(one.entry->name)).second) {
                answers.push_back({one.entry, store});
            }
        }
        before.merge(here);
    }
    return answers;
}

std::string IdOf(const CAddressSearch::CAnswer& answer)
{
    return answer.store == kSenders ? std::string(kSenders) + '-' + FullAddressOf(*answer.entry)
                                    : std::string(answer.entry->id);
}

std::string FullAddressOf(const CAddressEntry& entry)
{
    CRfc822Address address;
    if (!address.Parse(std::string(entry.address).c_str())) {
        return std::string(entry.address);
    }
    address.SetComment(ToWide(entry.name, "name").c_str());
    return address.RawFullAddress();
}
