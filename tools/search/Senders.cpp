#include "search/Senders.h"

#include "base/Session.h"
#include "base/Stores.h"
#include "base/Text.h"
#include "mailheader/MessageSender.h"
#include "platform/FileTime.h"
#include "platform/LastError.h"
#include "server/MailMessage.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <optional>
#include <unordered_map>
#include <utility>

namespace
{

constexpr std::size_t kNone = CIndexedMessage::kNoSender;

// The weight of a message doubles with this time.
constexpr double kHalfLifeSeconds = 90.0 * 24 * 3600;

// A message of this time, 2020-01-01 UTC, weighs 1.
constexpr double kUnitTimeSeconds = 13'222'310'400.0;

double WeightOf(std::uint64_t received)
{
    const double seconds = static_cast<double>(received) / kFileTimeUnitsPerSecond;
    return std::exp2((seconds - kUnitTimeSeconds) / kHalfLifeSeconds);
}

// The messages of one folder, read where the index does not know them.
class CMessageReader
{
public:
    CMessageReader(CSession& session, CMailFolder& folder, CAddressIndex* index)
        : m_session(session), m_folder(folder), m_index(*index)
    {
        for (std::size_t i = 0; i < m_index.senders.size(); ++i) {
            m_numbers.emplace(KeyOf(m_index.senders[i].address, m_index.senders[i].name), i);
        }
    }

    // False: it could not be read, which is reported unless it has gone.
    bool Read(const char* id, CIndexedMessage* message)
    {
        CRfc822Address sender;
        FILETIME received;
        message->id = m_index.Keep(id);
        if (Try([&] { return ReadMessageSender(m_folder, id, &sender, &received); })) {
            message->sender =
                NumberOf(sender.RawAddress(), ToUtf8(std::u16string_view(sender.GetComment())));
            message->received = FileTimeToCount(received);
            return true;
        }
        switch (const std::uint32_t error = GetLastError()) {
        case ERROR_SUCCESS:
            return true;
        case ERROR_NOT_ENOUGH_MEMORY:
            throw std::bad_alloc();
        case ERROR_UNSUPPORTED_COMPRESSION:
            return ReadCompression(id, message);
        default:
            return Fail(id, error);
        }
    }

private:
    static std::string KeyOf(std::string_view address, std::string_view name)
    {
        return std::string(address) + '\n' + std::string(name);
    }

    std::size_t NumberOf(const std::string& address, const std::string& name)
    {
        const auto [at, isNew] = m_numbers.emplace(KeyOf(address, name), m_index.senders.size());
        if (isNew) {
            m_index.senders.push_back({m_index.Keep(address), m_index.Keep(name),
                                       m_index.Keep(FoldText(name + '\n' + address))});
        }
        return at->second;
    }

    bool ReadCompression(const char* id, CIndexedMessage* message)
    {
        CMailMessage opened;
        if (!Try([&] { return opened.Open(m_folder, id, 0); })) {
            return Fail(id, GetLastError());
        }
        message->sender = NumberOf("", opened.GetCompression());
        return true;
    }

    bool Fail(const char* id, std::uint32_t error)
    {
        if (!IsMissingFile(error)) {
            m_session.OpenMissed("query", {std::string(kSenders), id, error, false});
        }
        return false;
    }

    CSession& m_session;
    CMailFolder& m_folder;
    CAddressIndex& m_index;
    std::unordered_map<std::string, std::size_t> m_numbers; // of the senders of the index
};

// A sender without an address is a compression.
bool IsCompression(const CIndexedSender& sender)
{
    return sender.address.empty();
}

// The senders that no message names any more go.
void DropUnused(CAddressIndex* index)
{
    std::vector<std::size_t> numbers(index->senders.size(), kNone);
    std::vector<CIndexedSender> used;
    for (CIndexedMessage& message : index->messages) {
        if (message.sender == kNone) {
            continue;
        }
        std::size_t& number = numbers[message.sender];
        if (number == kNone) {
            number = used.size();
            used.push_back(index->senders[message.sender]);
        }
        message.sender = number;
    }
    index->senders = std::move(used);
}

// One address, with what its messages say together.
struct CSum
{
    CAddressEntry entry;
    CFoldedText folded; // of all its names, and the address
};

void AppendFolded(const CFoldedView& more, CFoldedText* folded)
{
    // Once one name differs in its expanded form, that form has all names.
    if (!folded->expanded.empty() || !more.expanded.empty()) {
        if (folded->expanded.empty()) {
            folded->expanded = folded->plain;
        }
        folded->expanded.append(more.expanded.empty() ? more.plain : more.expanded).append(1, '\n');
    }
    folded->plain.append(more.plain).append(1, '\n');
}

void AddMessage(const CIndexedSender& sender, std::uint64_t received, CAddressEntry* entry)
{
    const bool isLatest = received >= entry->latest;
    if (isLatest) {
        entry->address = sender.address;
        entry->latest = received;
    }
    if (entry->name.empty() || (isLatest && !sender.name.empty())) {
        entry->name = sender.name;
    }
    entry->weight += WeightOf(received);
    ++entry->messages;
}

void SumUp(CAddressIndex* index)
{
    std::vector<CSum> sums;
    std::vector<std::size_t> sumOf(index->senders.size(), kNone); // of each sender
    std::unordered_map<std::string, std::size_t> numbers;         // by address
    index->passedOver.clear();
    for (const CIndexedMessage& message : index->messages) {
        if (message.sender == kNone) {
            continue;
        }
        const CIndexedSender& sender = index->senders[message.sender];
        if (IsCompression(sender)) {
            ++index->passedOver[std::string(sender.name)];
            continue;
        }
        std::size_t& number = sumOf[message.sender];
        if (number == kNone) {
            number = numbers.emplace(LowerText(sender.address), sums.size()).first->second;
            sums.resize(std::max(sums.size(), number + 1));
            AppendFolded(sender.folded, &sums[number].folded);
        }
        AddMessage(sender, message.received, &sums[number].entry);
    }
    index->senderAddresses.clear();
    for (CSum& sum : sums) {
        sum.entry.first = index->Keep(std::move(sum.folded));
        index->senderAddresses.push_back(sum.entry);
    }
}

// The ids in the folder, sorted. Nothing if it cannot be listed.
std::optional<std::vector<std::string>> ListIds(CMailFolder& folder)
{
    std::vector<std::string> ids;
    FILETIME version;
    _tMailFolderMessageInfo info = {};
    info.dwSize = sizeof(info);
    if (!folder.Lock(nullptr) || !folder.StartMessageEnumeration(0, &version)) {
        return std::nullopt;
    }
    while (folder.FindNextMessage(&info)) {
        ids.emplace_back(info.szMessageId);
    }
    return GetLastError() == ERROR_NO_MORE_FILES ? std::optional(std::move(ids)) : std::nullopt;
}

} // namespace

bool UpdateMessages(CSession& session, CMailFolder& inbox, CAddressIndex* index)
{
    const auto ids = Try([&] { return ListIds(inbox); });
    if (!ids) {
        index->senderAddresses.clear();
        index->passedOver.clear();
        return session.Report().Failure("query: store " + std::string(kSenders));
    }
    CMessageReader reader(session, inbox, index);
    const std::vector<CIndexedMessage> known = std::move(index->messages);
    index->messages.clear();
    bool isWhole = true;
    auto next = known.begin();
    for (const std::string& id : *ids) {
        next = std::find_if(next, known.end(),
                            [&id](const CIndexedMessage& message) { return message.id >= id; });
        CIndexedMessage message;
        if (next != known.end() && next->id == id) {
            index->messages.push_back(*next);
        } else if (reader.Read(id.c_str(), &message)) {
            index->messages.push_back(message);
        } else {
            isWhole = false;
        }
    }
    inbox.CloseMessageEnumeration();
    DropUnused(index);
    SumUp(index);
    return isWhole;
}
