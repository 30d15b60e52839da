#include "server/MailMessage.h"

#include "platform/Failure.h"
#include "platform/FileHandle.h"
#include "server/MailFolder.h"
#include "server/MailFolderImpl.h"
#include "server/MessageFile.h"
#include "server/MessageHeader.h"

#include <algorithm>
#include <list>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

// Most "From" fields lie in the first piece. Each further one makes the text four times as long.
constexpr std::uint32_t kFirstHeaderPiece = 4 << 10;
constexpr std::size_t kMaxHeaderRead = 256 << 10;

constexpr std::uint32_t kFirstMessagePiece = 16 << 10;
constexpr std::size_t kMaxMessageSize = 4 << 20;

} // namespace

class CMailMessageImpl
{
public:
    explicit CMailMessageImpl(CFileHandle file) : m_file(std::move(file)) {}

    HANDLE File() const { return m_file.Handle(); }
    bool FindField(std::string_view name, CHeaderField* field);
    bool ReadAll(std::string* text);
    const char* Compression();

    // Keeps a value for as long as the message is open.
    const char* Keep(std::string value) { return m_values.emplace_back(std::move(value)).c_str(); }

private:
    bool ReadHead();
    void Rewind();

    CMessageFile m_file;
    std::string m_head; // what has been read of the text, for its header
    bool m_isHeadWhole = false;
    std::list<std::string> m_values;
};

void CMailMessageImpl::Rewind()
{
    m_file.Rewind();
    m_head.clear();
    m_isHeadWhole = false;
}

// Reads the next piece of the header.
bool CMailMessageImpl::ReadHead()
{
    const auto size =
        m_head.empty() ? kFirstHeaderPiece : static_cast<std::uint32_t>(m_head.size() * 3);
    bool isEnd = false;
    if (!m_file.Read(size, &m_head, &isEnd)) {
        return false;
    }
    m_isHeadWhole = isEnd;
    return true;
}

bool CMailMessageImpl::FindField(std::string_view name, CHeaderField* field)
{
    for (;;) {
        const EHeaderSearch result = FindHeaderField(m_head, m_isHeadWhole, name, field);
        if (result != EHeaderSearch::TextTooShort) {
            return result == EHeaderSearch::Found || Fail(ERROR_NOT_FOUND);
        }
        // A field that is cut off at the limit would read as another one.
        if (m_head.size() >= kMaxHeaderRead) {
            return Fail(ERROR_NOT_FOUND);
        }
        if (!ReadHead()) {
            return false;
        }
    }
}

// Leaves the file rewound, so the next header is read anew.
bool CMailMessageImpl::ReadAll(std::string* text)
{
    Rewind();
    std::string content;
    std::uint32_t piece = kFirstMessagePiece;
    bool isRead = true;
    for (bool isEnd = false; isRead && !isEnd && content.size() <= kMaxMessageSize; piece *= 2) {
        const std::size_t room = kMaxMessageSize + 1 - content.size();
        piece = static_cast<std::uint32_t>(std::min<std::size_t>(piece, room));
        isRead = m_file.Read(piece, &content, &isEnd);
    }
    Rewind();
    if (!isRead) {
        return false;
    }
    if (content.size() > kMaxMessageSize) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    *text = std::move(content);
    return true;
}

const char* CMailMessageImpl::Compression()
{
    const CKeepLastError keep;
    if (m_file.Compression() == nullptr) {
        (void)ReadHead(); // fails if the compression is not read
    }
    return m_file.Compression() == nullptr ? "" : m_file.Compression();
}

CMailMessage::CMailMessage() = default;
CMailMessage::~CMailMessage() = default;

bool CMailMessage::Open(CMailFolder& folder, const char* messageId, std::uint32_t /*flags*/)
{
    Reset();
    if (folder.m_folder == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (!IsMessageId(messageId)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    CFileHandle file;
    const auto open = [&file](const std::string& path) {
        file.Reset(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                               INVALID_HANDLE_VALUE));
        return file.IsOpen();
    };
    if (!folder.m_folder->WithFile(messageId, open)) {
        return false;
    }
    m_message = std::make_shared<CMailMessageImpl>(std::move(file));
    return true;
}

bool CMailMessage::GetInternalTime(FILETIME* time) const
{
    if (m_message == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (time == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return GetFileTime(m_message->File(), nullptr, nullptr, time) != 0;
}

bool CMailMessage::GetHeader(const char* name, const char** value) const
{
    if (m_message == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (name == nullptr || value == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    CHeaderField field;
    if (!m_message->FindField(name, &field)) {
        return false;
    }
    *value = m_message->Keep(HeaderValueToUtf8(field.value));
    return true;
}

const char* CMailMessage::GetCompression() const
{
    return m_message == nullptr ? "" : m_message->Compression();
}

bool CMailMessage::ReadAll(std::string* text) const
{
    if (m_message == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (text == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return m_message->ReadAll(text);
}

void CMailMessage::Close()
{
    Reset();
}

void CMailMessage::Reset()
{
    m_message.reset();
}

} // namespace contactmgr_internal
