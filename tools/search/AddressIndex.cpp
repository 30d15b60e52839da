#include "search/AddressIndex.h"

#include "platform/Descriptor.h"
#include "search/ByteText.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xxhash.h>

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace
{

// What the file begins with. Another layout, or other rules for what is searched, get a new number.
constexpr std::uint64_t kMagic = 0x0003'5244'4441'4D43; // "CMADDR" and the number
constexpr const char* kExtension = ".addresses";
constexpr auto kLongestWriting = 1h;
constexpr auto kLongestUnused = 24h * 90;
constexpr std::uint64_t kLargestSection = std::uint64_t{1} << 30;

struct CHeader
{
    std::uint64_t magic = kMagic;
    std::uint64_t entriesSize = 0;
    std::uint64_t entriesChecksum = 0;
    std::uint64_t messagesSize = 0;
    std::uint64_t messagesChecksum = 0;
};

std::uint64_t Checksum(std::string_view text)
{
    return XXH3_64bits(text.data(), text.size());
}

std::string Environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// The folder of the program in the user's cache folder, made where it is missing. Empty where it
// would not be the user's own, as for root with the home folder of somebody else.
std::string CacheFolder()
{
    std::string above = Environment("XDG_CACHE_HOME");
    if (!above.starts_with('/')) {
        const std::string home = Environment("HOME");
        if (!home.starts_with('/')) {
            return "";
        }
        above = home + "/.cache";
    }
    const std::string folder = above + "/contactmgr";
    mkdir(above.c_str(), S_IRWXU);
    mkdir(folder.c_str(), S_IRWXU);
    struct stat status = {};
    const bool isOwn = lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
                       status.st_uid == geteuid();
    return isOwn ? folder : "";
}

// False for a file that is not the user's own, of another layout, or cut off.
bool ReadHeader(int file, CHeader* header)
{
    struct stat status = {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
           ReadAll(file, reinterpret_cast<char*>(header), sizeof(*header), 0) &&
           header->magic == kMagic && header->entriesSize <= kLargestSection &&
           header->messagesSize <= kLargestSection &&
           static_cast<std::uint64_t>(status.st_size) ==
               sizeof(*header) + header->entriesSize + header->messagesSize;
}

bool ReadSection(int file, std::uint64_t begin, std::uint64_t size, std::uint64_t checksum,
                 std::string* section)
{
    section->resize(size);
    return ReadAll(file, section->data(), size, begin) && Checksum(*section) == checksum;
}

void AddFolded(const CFoldedView& folded, CByteWriter* writer)
{
    writer->Add(folded.plain);
    writer->Add(folded.expanded);
}

CFoldedView TakeFolded(CByteReader* reader)
{
    const std::string_view plain = reader->Text();
    return {plain, reader->Text()};
}

void AddEntries(const CAddressEntries& entries, CByteWriter* writer)
{
    writer->Add(entries.size());
    for (const CAddressEntry& entry : entries) {
        writer->Add(entry.id);
        writer->Add(entry.address);
        writer->Add(entry.name);
        AddFolded(entry.first, writer);
        AddFolded(entry.second, writer);
        writer->Add(entry.messages);
        writer->Add(entry.latest);
        writer->AddReal(entry.weight);
    }
}

CAddressEntries TakeEntries(CByteReader* reader)
{
    CAddressEntries entries(reader->Count());
    for (CAddressEntry& entry : entries) {
        entry.id = reader->Text();
        entry.address = reader->Text();
        entry.name = reader->Text();
        entry.first = TakeFolded(reader);
        entry.second = TakeFolded(reader);
        entry.messages = reader->Number();
        entry.latest = reader->Number();
        entry.weight = reader->Real();
    }
    return entries;
}

std::string EntriesSection(const std::string& key, const CAddressIndex& index)
{
    CByteWriter writer;
    writer.Add(key);
    writer.Add(index.contacts.size());
    for (const CIndexedContact& contact : index.contacts) {
        writer.Add(contact.number);
        writer.Add(contact.written);
        writer.Add(contact.changed);
        writer.Add(contact.size);
        writer.Add(contact.addresses);
    }
    AddEntries(index.contactAddresses, &writer);
    writer.Add(index.olderSignature);
    AddEntries(index.olderAddresses, &writer);
    writer.Add(index.inboxSignature);
    writer.Add(index.inboxIdentity);
    AddEntries(index.senderAddresses, &writer);
    writer.Add(index.passedOver.size());
    for (const auto& [compression, count] : index.passedOver) {
        writer.Add(compression);
        writer.Add(count);
    }
    return writer.Text();
}

// False if the numbers do not fit together.
bool TakeContacts(CByteReader* reader, CAddressIndex* index)
{
    index->contacts.resize(reader->Count());
    std::size_t addresses = 0;
    for (CIndexedContact& contact : index->contacts) {
        contact.number = static_cast<std::uint32_t>(reader->Number());
        contact.written = reader->Number();
        contact.changed = reader->Number();
        contact.size = reader->Number();
        contact.addresses = reader->Number();
        addresses += contact.addresses;
    }
    index->contactAddresses = TakeEntries(reader);
    return addresses == index->contactAddresses.size();
}

std::string MessagesSection(const CAddressIndex& index)
{
    CByteWriter writer;
    writer.Add(index.senders.size());
    for (const CIndexedSender& sender : index.senders) {
        writer.Add(sender.address);
        writer.Add(sender.name);
        AddFolded(sender.folded, &writer);
    }
    writer.Add(index.messages.size());
    for (const CIndexedMessage& message : index.messages) {
        writer.Add(message.id);
        writer.Add(message.sender + 1); // none becomes 0
        writer.Add(message.received);
    }
    return writer.Text();
}

// A process that is killed while it writes leaves its file behind. One that is an hour old is not
// being written any more. An index that nothing has changed for long may be of a mailbox that is no
// more.
void RemoveLeftFiles(const std::string& path)
{
    const fs::file_time_type now = fs::file_time_type::clock::now();
    std::error_code error;
    for (fs::directory_iterator at(fs::path(path).parent_path(), error), end; !error && at != end;
         at.increment(error)) {
        std::error_code ignored;
        const std::string extension = at->path().extension();
        const bool isIndex = extension == kExtension;
        const bool isLeft = !isIndex && at->path().stem().extension() == kExtension;
        if ((isIndex || isLeft) &&
            at->last_write_time(ignored) < now - (isLeft ? kLongestWriting : kLongestUnused) &&
            !ignored) {
            fs::remove(at->path(), ignored);
        }
    }
}

} // namespace

CAddressIndexFile::CAddressIndexFile(std::string key) : m_key(std::move(key))
{
    const std::string folder = m_key.empty() ? "" : CacheFolder();
    if (folder.empty()) {
        return;
    }
    constexpr std::size_t kDigits = 16;
    std::array<char, kDigits + 1> name;
    std::snprintf(name.data(), name.size(), "%016llx",
                  static_cast<unsigned long long>(Checksum(m_key)));
    m_path = folder + '/' + name.data() + kExtension;
}

bool CAddressIndexFile::Read(CAddressIndex* index)
{
    if (m_path.empty()) {
        return false;
    }
    m_file = CDescriptor(open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    CHeader header;
    std::string section;
    if (!m_file.IsOpen() || !ReadHeader(m_file.Get(), &header) ||
        !ReadSection(m_file.Get(), sizeof(header), header.entriesSize, header.entriesChecksum,
                     &section)) {
        return false;
    }
    CByteReader reader(index->Keep(std::move(section)));
    if (reader.Text() != m_key) {
        return false;
    }
    m_messagesBegin = sizeof(header) + header.entriesSize;
    m_messagesSize = header.messagesSize;
    m_messagesChecksum = header.messagesChecksum;
    if (!TakeContacts(&reader, index)) {
        return false;
    }
    index->olderSignature = reader.Text();
    index->olderAddresses = TakeEntries(&reader);
    index->inboxSignature = reader.Text();
    index->inboxIdentity = reader.Text();
    index->senderAddresses = TakeEntries(&reader);
    for (std::size_t count = reader.Count(); count > 0; --count) {
        const std::string compression(reader.Text());
        index->passedOver[compression] = reader.Number();
    }
    return reader.IsGood();
}

bool CAddressIndexFile::ReadMessages(CAddressIndex* index)
{
    std::string section;
    if (m_messagesBegin == 0 ||
        !ReadSection(m_file.Get(), m_messagesBegin, m_messagesSize, m_messagesChecksum, &section)) {
        return false;
    }
    CByteReader reader(index->Keep(std::move(section)));
    bool isWhole = true;
    index->senders.resize(reader.Count());
    for (CIndexedSender& sender : index->senders) {
        sender.address = reader.Text();
        sender.name = reader.Text();
        sender.folded = TakeFolded(&reader);
    }
    index->messages.resize(reader.Count());
    for (CIndexedMessage& message : index->messages) {
        message.id = reader.Text();
        message.sender = reader.Number() - 1;
        message.received = reader.Number();
        isWhole = isWhole && (message.sender == CIndexedMessage::kNoSender ||
                              message.sender < index->senders.size());
    }
    if (!isWhole || !reader.IsGood()) {
        index->senders.clear();
        index->messages.clear();
        return false;
    }
    return true;
}

void CAddressIndexFile::Write(const CAddressIndex& index) const
{
    if (m_path.empty()) {
        return;
    }
    const std::string entries = EntriesSection(m_key, index);
    const std::string messages = MessagesSection(index);
    const CHeader header = {kMagic, entries.size(), Checksum(entries), messages.size(),
                            Checksum(messages)};
    RemoveLeftFiles(m_path);
    std::string path = m_path + ".XXXXXX";
    CDescriptor file(mkostemp(path.data(), O_CLOEXEC));
    if (!file.IsOpen()) {
        return;
    }
    const std::string_view head(reinterpret_cast<const char*>(&header), sizeof(header));
    const bool isWritten =
        WriteAll(file.Get(), head, 0) && WriteAll(file.Get(), entries, head.size()) &&
        WriteAll(file.Get(), messages, head.size() + entries.size()) && file.Close();
    if (!isWritten || rename(path.c_str(), m_path.c_str()) != 0) {
        unlink(path.c_str());
    }
}
