#include "server/MessageInMessageStore.h"

#include "platform/Failure.h"
#include "server/MessageHeader.h"

#include <memory>
#include <string_view>
#include <utility>

inline namespace contactmgr_internal
{

bool CMessageInMessageStore::Open(CMailFolder& folder, const char* messageId)
{
    SetMessageStructure(nullptr);
    m_text.clear();
    if (!m_message.Open(folder, messageId, 0)) {
        return false;
    }
    if (!m_message.ReadAll(&m_text)) {
        m_message.Reset();
        return false;
    }
    return true;
}

const char* CMessageInMessageStore::GetBodySegment(std::uint32_t offset, std::uint32_t length) const
{
    if (offset > m_text.size() || length > m_text.size() - offset) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return m_text.data() + offset;
}

std::uint32_t CMessageInMessageStore::GetSize() const
{
    return static_cast<std::uint32_t>(m_text.size());
}

bool CMessageInMessageStore::LoadMessageStructure()
{
    if (m_text.empty()) {
        return Fail(ERROR_INVALID_DATA);
    }
    const std::string_view text = m_text;
    const std::size_t headerLength = HeaderSectionLength(text);
    auto structure = std::make_unique<_tMessageStructure>();
    structure->root = {text.substr(0, headerLength), text.substr(headerLength)};
    SetMessageStructure(std::move(structure));
    return true;
}

} // namespace contactmgr_internal
