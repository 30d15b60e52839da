#include "search/Duplicates.h"

#include "base/Text.h"
#include "platform/Ascii.h"
#include "search/Folding.h"
#include "search/TelephoneNumber.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <tuple>
#include <utility>

namespace
{

// An address, a number or a name of a person.
struct CItem
{
    std::size_t person;
    std::string_view value;
};

// A form in which an item is found to be the same as others. `country` is that of a telephone
// number.
struct CForm
{
    std::string key;
    std::string country;
    std::size_t item;

    auto Order() const { return std::tie(key, country, item); }
};

bool IsWordByte(char c)
{
    const char lower = LowerAscii(c);
    return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') ||
           static_cast<unsigned char>(c) >= 0x80;
}

// The words of a name in the order of the alphabet: "Lee, Ann" is "ann lee".
std::string SortedWords(std::string_view folded)
{
    std::vector<std::string_view> words;
    const char* const end = folded.data() + folded.size();
    for (const char* at = folded.data(); at != end;) {
        const char* const begin = std::find_if(at, end, IsWordByte);
        at = std::find_if_not(begin, end, IsWordByte);
        if (begin != at) {
            words.emplace_back(begin, static_cast<std::size_t>(at - begin));
        }
    }
    std::ranges::sort(words);
    std::string sorted;
    for (const std::string_view word : words) {
        sorted.append(sorted.empty() ? "" : " ").append(word);
    }
    return sorted;
}

std::vector<CForm> NameForms(const std::string& name)
{
    const CFoldedText folded = FoldText(name);
    std::vector<CForm> forms;
    for (const std::string_view text : {folded.plain, folded.expanded}) {
        std::string words = SortedWords(text);
        if (!words.empty()) {
            forms.push_back({std::move(words), "", 0});
        }
    }
    return forms;
}

// Finds the items that are the same: those that have a form in common, and those that a third one
// joins, as Müller joins Mueller and Muller.
class CSameItems
{
public:
    void Add(std::size_t person, std::string_view value, std::vector<CForm> forms)
    {
        for (CForm& form : forms) {
            form.item = m_items.size();
            m_forms.push_back(std::move(form));
        }
        m_items.push_back({person, value});
    }

    void AppendGroups(ESameness sameness, std::vector<CDuplicates>* groups)
    {
        JoinAll();
        std::map<std::size_t, CDuplicates> found; // by the first items
        for (std::size_t item = 0; item < m_items.size(); ++item) {
            const std::size_t first = FirstOf(item);
            const auto [group, isNew] = found.try_emplace(first);
            if (isNew) {
                group->second = {sameness, std::string(m_items[first].value), {}};
            }
            std::vector<std::size_t>& members = group->second.members;
            if (members.empty() || members.back() != m_items[item].person) {
                members.push_back(m_items[item].person);
            }
        }
        for (auto& [first, group] : found) {
            if (group.members.size() > 1) {
                groups->push_back(std::move(group));
            }
        }
    }

private:
    // Of a key with numbers of several countries, each country stands alone, and so do the numbers
    // without a country code.
    void JoinAll()
    {
        m_first.resize(m_items.size());
        std::iota(m_first.begin(), m_first.end(), std::size_t{0});
        std::ranges::sort(m_forms, {}, &CForm::Order);
        for (auto begin = m_forms.begin(); begin != m_forms.end();) {
            const auto end = std::find_if(
                begin, m_forms.end(), [&](const CForm& form) { return form.key != begin->key; });
            const auto ofCountry =
                std::find_if(begin, end, [](const CForm& form) { return !form.country.empty(); });
            const bool isOneCountry =
                ofCountry == end || ofCountry->country == std::prev(end)->country;
            for (auto form = std::next(begin); form != end; ++form) {
                if (isOneCountry || form->country == std::prev(form)->country) {
                    Join(std::prev(form)->item, form->item);
                }
            }
            begin = end;
        }
    }

    // The first of the items that are known to be the same.
    std::size_t FirstOf(std::size_t item)
    {
        while (m_first[item] != item) {
            m_first[item] = m_first[m_first[item]];
            item = m_first[item];
        }
        return item;
    }

    void Join(std::size_t left, std::size_t right)
    {
        const auto [first, second] = std::minmax({FirstOf(left), FirstOf(right)});
        m_first[second] = first;
    }

    std::vector<CItem> m_items;
    std::vector<CForm> m_forms;
    std::vector<std::size_t> m_first; // of each item: itself, or one before it that is the same
};

std::vector<CForm> AddressForms(const std::string& address)
{
    return {{LowerText(address), "", 0}};
}

std::vector<CForm> NumberForms(const std::string& telephone)
{
    std::vector<CForm> forms;
    for (CTelephoneNumber& number : ReadTelephoneNumber(telephone)) {
        forms.push_back({std::move(number.national), std::move(number.country), 0});
    }
    return forms;
}

} // namespace

std::vector<CDuplicates> FindDuplicates(const std::vector<CPerson>& people)
{
    CSameItems addresses;
    CSameItems numbers;
    CSameItems names;
    for (std::size_t i = 0; i < people.size(); ++i) {
        for (const std::string& address : people[i].addresses) {
            addresses.Add(i, address, AddressForms(address));
        }
        for (const std::string& telephone : people[i].telephones) {
            numbers.Add(i, telephone, NumberForms(telephone));
        }
        names.Add(i, people[i].name, NameForms(people[i].name));
    }
    std::vector<CDuplicates> groups;
    addresses.AppendGroups(ESameness::kAddress, &groups);
    numbers.AppendGroups(ESameness::kTelephone, &groups);
    names.AppendGroups(ESameness::kName, &groups);
    std::ranges::stable_sort(groups, {}, [](const CDuplicates& group) {
        return std::pair(group.members.front(), group.members.back());
    });
    return groups;
}
