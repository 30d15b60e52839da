#include "intake/InputText.h"

#include "base/Text.h"

#include <algorithm>

namespace
{

constexpr std::size_t kPieceBytes = 64 << 10;
constexpr char16_t kUtf16Mark = u'\uFEFF';

bool IsHighSurrogate(char16_t c)
{
    return c >= 0xD800 && c <= 0xDBFF;
}

} // namespace

CInputText::CInputText(std::FILE* file) : m_file(file)
{
    Fill();
    FindForm();
}

// All forms of contacts begin with a character of ASCII, so a zero byte beside it tells the order.
void CInputText::FindForm()
{
    if (m_text.starts_with(kByteOrderMark)) {
        m_text.erase(0, kByteOrderMark.size());
        return;
    }
    const std::string_view head = std::string_view(m_text).substr(0, 2);
    if (head == "\xFF\xFE" || (head.size() == 2 && head[0] != '\0' && head[1] == '\0')) {
        m_form = EForm::kUtf16Little;
    } else if (head == "\xFE\xFF" || (head.size() == 2 && head[0] == '\0' && head[1] != '\0')) {
        m_form = EForm::kUtf16Big;
    } else {
        return;
    }
    ConvertUtf16();
}

void CInputText::Fill()
{
    m_begin = 0;
    m_text.clear();
    while (m_text.empty() && !m_isEnd) {
        m_text.resize(kPieceBytes);
        m_text.resize(std::fread(m_text.data(), 1, m_text.size(), m_file));
        m_isEnd = m_text.size() < kPieceBytes;
        if (m_form != EForm::kBytes) {
            ConvertUtf16();
        }
    }
}

// A piece may end inside a character; that beginning waits for the next piece.
void CInputText::ConvertUtf16()
{
    m_undecoded += m_text;
    const std::size_t low = m_form == EForm::kUtf16Little ? 0 : 1;
    std::u16string wide;
    std::size_t used = 0;
    for (; used + 1 < m_undecoded.size(); used += 2) {
        const auto byteAt = [&](std::size_t index) {
            return static_cast<unsigned char>(m_undecoded[used + index]);
        };
        wide += static_cast<char16_t>(byteAt(low) | byteAt(1 - low) << 8);
    }
    if (!m_isEnd && !wide.empty() && IsHighSurrogate(wide.back())) {
        wide.pop_back();
        used -= 2;
    }
    m_undecoded.erase(0, m_isEnd ? m_undecoded.size() : used);
    std::erase(wide, kUtf16Mark);
    m_text = ToUtf8(wide);
}

std::string_view CInputText::Rest()
{
    if (m_begin == m_text.size()) {
        Fill();
    }
    return std::string_view(m_text).substr(m_begin);
}

bool CInputText::TakeLineEnd()
{
    const char end = Rest().front();
    Take(1);
    if (end == '\r' && Rest().starts_with('\n')) {
        Take(1);
    }
    return true;
}

bool CInputText::TakeLine(std::size_t maxBytes, std::string* line)
{
    line->clear();
    bool isThere = false;
    for (std::string_view rest = Rest(); !rest.empty(); rest = Rest()) {
        isThere = true;
        const std::size_t end = std::min(rest.find_first_of("\r\n"), rest.size());
        line->append(rest.substr(0, std::min(end, maxBytes - line->size())));
        const bool isEnd = end < rest.size();
        Take(end);
        if (isEnd) {
            return TakeLineEnd();
        }
    }
    return isThere;
}
