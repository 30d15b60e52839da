#include "intake/KnownContacts.h"

#include "base/Text.h"
#include "cards/CardContent.h"
#include "cards/Digest.h"
#include "text/Rfc822Address.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace
{

// The store renews these with each change.
constexpr std::string_view kLinesOfStore[] = {"REV", "VERSION", "X-LARKMERE-WSSVERSION"};

// Without regard to case and to the form of composition.
std::string Folded(const std::string& text)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* const folding = icu::Normalizer2::getNFKCCasefoldInstance(status);
    if (U_FAILURE(status)) {
        return text;
    }
    const icu::UnicodeString folded =
        folding->normalize(icu::UnicodeString::fromUTF8(text), status);
    std::string utf8;
    return U_FAILURE(status) ? text : folded.toUTF8String(utf8);
}

std::string_view ValueOf(const CVCard& card, std::string_view name)
{
    const CVCardLine* const line = FindLine(card, name);
    return line == nullptr ? std::string_view() : std::string_view(line->value);
}

// The name with the first address or number. A card with neither has its content in their place: a
// digest, which is no name.
std::string NameKey(const CVCard& card)
{
    const std::string full = UnescapeValue(ValueOf(card, "FN"));
    const std::string name(Trimmed(full)); // the store does so too
    CRfc822Address address;
    const std::string email(ValueOf(card, "EMAIL"));
    const bool hasAddress = !email.empty() && address.Parse(email.c_str());
    const std::string_view number = Trimmed(ValueOf(card, "TEL"));
    const std::string way = hasAddress ? address.RawAddress() : std::string(number);
    return name.empty() && way.empty() ? ContentDigest(card) : Folded(name + '\n' + way);
}

bool IsBlank(const CVCardLine& line)
{
    return line.value.find_first_not_of(";, ") == std::string::npos;
}

} // namespace

void CKnownContacts::Add(const CVCard& card, const std::string& id, const std::string& derivedUid)
{
    const std::string uid(ValueOf(card, "UID"));
    m_byUid.emplace(uid.empty() ? derivedUid : uid, id);
    CNamed& named = m_byName[NameKey(card)];
    (uid.empty() ? named.withoutUid : named.withUid).ids.push_back(id);
}

void CKnownContacts::AddTaken(const CVCard& card, const std::string& id,
                              const std::string& derivedUid)
{
    Add(card, id, derivedUid);
    m_taken.insert(id);
    m_byText.emplace(DigestOf(WriteVCard(card)), id);
    if (!ValueOf(card, "UID").empty()) {
        m_gotUid.insert(id);
    }
}

void CKnownContacts::BeginFile()
{
    ++m_file;
    m_taken.clear();
    m_byText.clear();
}

// The first contact that is left, and is not to be passed over; empty without one.
std::string CKnownContacts::TakeNext(CAlike* alike,
                                     const std::unordered_set<std::string>& passedOver)
{
    if (alike->file != m_file) {
        alike->file = m_file;
        alike->next = 0;
    }
    while (alike->next < alike->ids.size()) {
        const std::string& id = alike->ids[alike->next++];
        if (!passedOver.contains(id) && m_taken.insert(id).second) {
            return id;
        }
    }
    return {};
}

std::string CKnownContacts::Find(const CVCard& card)
{
    const std::string uid(ValueOf(card, "UID"));
    const auto byUid = uid.empty() ? m_byUid.end() : m_byUid.find(uid);
    if (byUid != m_byUid.end()) {
        m_taken.insert(byUid->second);
        return byUid->second;
    }
    const auto byText = m_byText.find(DigestOf(WriteVCard(card)));
    if (byText != m_byText.end()) {
        return byText->second;
    }
    const auto byName = m_byName.find(NameKey(card));
    if (byName == m_byName.end()) {
        return {};
    }
    const std::string id = TakeNext(&byName->second.withoutUid, m_gotUid);
    return id.empty() && uid.empty() ? TakeNext(&byName->second.withUid, {}) : id;
}

CVCard LayOver(const CVCard& contact, const CVCard& card, bool keepsName)
{
    struct CLaid
    {
        std::vector<const CVCardLine*> lines;
        std::size_t next = 0;
    };
    std::unordered_map<std::string_view, CLaid> laid;
    for (const CVCardLine& line : card) {
        const bool isKept = keepsName && line.name == "FN" && !ValueOf(contact, "FN").empty();
        const bool isOfStore =
            std::ranges::find(kLinesOfStore, line.name) != std::end(kLinesOfStore);
        if (!isKept && !isOfStore) {
            laid[line.name].lines.push_back(&line);
        }
    }
    std::erase_if(laid, [](const auto& of) {
        return std::ranges::all_of(of.second.lines,
                                   [](const CVCardLine* line) { return IsBlank(*line); });
    });
    CVCard result;
    const auto takeNext = [&result](CLaid& of) {
        if (of.next < of.lines.size()) {
            result.push_back(*of.lines[of.next++]);
        }
    };
    // Each in the place of an old one: what says the same stays the same.
    for (const CVCardLine& line : contact) {
        const auto found = laid.find(line.name);
        if (found == laid.end()) {
            result.push_back(line);
        } else {
            takeNext(found->second);
        }
    }
    for (const CVCardLine& line : card) {
        const auto found = laid.find(line.name);
        if (found != laid.end()) {
            takeNext(found->second);
        }
    }
    return result;
}
