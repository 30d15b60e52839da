#include "server/MailMessage.h"

#include "platform/Failure.h"
#include "platform/FileContent.h"
#include "platform/FileHandle.h"
#include "server/MailFolder.h"
#include "server/MailFolderImpl.h"
#include "server/MessageHeader.h"

#include <algorithm>
#include <list>
#include <utility>

namespace
{

// Most "From" fields lie in the first piece; each further one is four times as large.
constexpr std::uint32_t kFirstHeaderPiece = 4 << 10;
constexpr std::size_t kMaxHeaderRead = 256 << 10;

constexpr std::uint32_t kFirstMessagePiece = 16 << 10;
constexpr std::size_t kMaxMessageSize = 4 << 20;

// Appends up to that many bytes; *isEnd says that the file has no more.
bool ReadMore(HANDLE file, std::uint32_t size, std::string* text, bool* isEnd)
{
    const std::size_t used = text->size();
    text->resize(used + size);
    std::uint32_t count = 0;
    const bool isRead = ReadFile(file, text->data() + used, size, &count, nullptr) != 0;
    text->resize(used + (isRead ? count : 0));
    *isEnd = count < size;
    return isRead;
}

} // namespace

class CMailMessageImpl
{
public:
    explicit CMailMessageImpl(CFileHandle file) : m_file(std::move(file)) {}

    HANDLE File() const { return m_file.Get(); }
    bool FindField(std::string_view name, CHeaderField* field);
    bool ReadAll(std::string* text);

    // Keeps a value for as long as the message is open.
    const char* Keep(std::string value) { return m_values.emplace_back(std::move(value)).c_str(); }

private:
    CFileHandle m_file;
    std::string m_head; // what has been read of the file
    bool m_isHeadWhole = false;
    std::list<std::string> m_values;
};

bool CMailMessageImpl::FindField(std::string_view name, CHeaderField* field)
{
    for (;;) {
        const EHeaderSearch result = FindHeaderField(m_head, m_isHeadWhole, name, field);
        if (result != EHeaderSearch::TextTooShort) {
            return result == EHeaderSearch::Found || Fail(ERROR_NOT_FOUND);
        }
        // A field that is cut at the cap would read as another one.
        if (m_head.size() >= kMaxHeaderRead) {
            return Fail(ERROR_NOT_FOUND);
        }
        const auto piece =
            m_head.empty() ? kFirstHeaderPiece : static_cast<std::uint32_t>(m_head.size() * 3);
        bool isEnd = false;
        if (!ReadMore(m_file.Get(), piece, &m_head, &isEnd)) {
            return false;
        }
        m_isHeadWhole = isEnd;
    }
}

// The header's reader finds the file's position as it left it.
bool CMailMessageImpl::ReadAll(std::string* text)
{
    SetFilePointer(m_file.Get(), 0, nullptr, FILE_BEGIN);
    std::string content;
    std::uint32_t piece = kFirstMessagePiece;
    bool isRead = true;
    for (bool isEnd = false; isRead && !isEnd && content.size() <= kMaxMessageSize; piece *= 2) {
        isRead = ReadMore(m_file.Get(), piece, &content, &isEnd);
    }
    SetFilePointer(m_file.Get(), static_cast<std::int32_t>(m_head.size()), nullptr, FILE_BEGIN);
    if (!isRead) {
        return false;
    }
    if (content.size() > kMaxMessageSize) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    *text = std::move(content);
    return true;
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
