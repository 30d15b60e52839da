#include "BareText.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace
{

constexpr std::size_t kFoldBytes = 75;
constexpr std::size_t kMostLines = 4096;

// Calls `call` with each unfolded line.
template <class Call>
void ForEachLine(std::string_view card, Call call)
{
    static thread_local std::string line;
    line.clear();
    while (!card.empty()) {
        const std::size_t end = std::min(card.find('\n'), card.size() - 1);
        const std::size_t length = end > 0 && card[end - 1] == '\r' ? end - 1 : end;
        line.append(card.data(), length);
        card.remove_prefix(end + 1);
        if (!card.empty() && (card.front() == ' ' || card.front() == '\t')) {
            card.remove_prefix(1);
            continue;
        }
        call(line);
        line.clear();
    }
}

// The colon behind name and parameters. One in quotes does not count.
std::size_t FindColon(std::string_view line)
{
    std::size_t colon = std::min(line.find(':'), line.size());
    std::size_t quote = line.substr(0, colon).find('"');
    while (quote != line.npos) {
        const std::size_t closing = std::min(line.find('"', quote + 1), line.size() - 1);
        colon = std::min(line.find(':', closing), line.size());
        quote = line.substr(0, colon).find('"', closing + 1);
    }
    return colon;
}

// One character behind ASCII, as UTF-16. The text is known to be UTF-8.
const char* WidenCharacter(const char* from, char16_t** to)
{
    const auto byte = [&](int at) { return static_cast<std::uint32_t>(from[at] & 0x3F); };
    const auto lead = static_cast<unsigned char>(*from);
    if (lead < 0xE0) {
        *(*to)++ = static_cast<char16_t>((lead & 0x1Fu) << 6 | byte(1));
        return from + 2;
    }
    if (lead < 0xF0) {
        *(*to)++ = static_cast<char16_t>((lead & 0x0Fu) << 12 | byte(1) << 6 | byte(2));
        return from + 3;
    }
    const std::uint32_t point =
        ((lead & 0x07u) << 18 | byte(1) << 12 | byte(2) << 6 | byte(3)) - 0x10000;
    *(*to)++ = static_cast<char16_t>(0xD800 + (point >> 10));
    *(*to)++ = static_cast<char16_t>(0xDC00 + (point & 0x3FF));
    return from + 4;
}

void Widen(std::string_view text, char16_t* to)
{
    constexpr std::uint64_t kNotAscii = 0x8080808080808080;
    const char* from = text.data();
    const char* const end = from + text.size();
    while (from < end) {
        std::uint64_t eight = 0;
        if (end - from >= 8 && (std::memcpy(&eight, from, 8), (eight & kNotAscii) == 0)) {
            for (int at = 0; at < 8; ++at) {
                to[at] = static_cast<unsigned char>(from[at]);
            }
            from += 8;
            to += 8;
        } else if (static_cast<unsigned char>(*from) < 0x80) {
            *to++ = static_cast<unsigned char>(*from++);
        } else {
            from = WidenCharacter(from, &to);
        }
    }
}

void AppendFoldedLine(std::string_view line, std::string* text)
{
    while (line.size() > kFoldBytes) {
        std::size_t length = kFoldBytes;
        while ((static_cast<unsigned char>(line[length]) & 0xC0) == 0x80) {
            --length;
        }
        text->append(line.data(), length).append("\r\n\t");
        line.remove_prefix(length);
    }
    text->append(line).append("\r\n");
}

} // namespace

namespace Bare
{

std::size_t ParseCard(std::string_view card)
{
    static thread_local void* blocks[2 * kMostLines];
    std::size_t count = 0;
    ForEachLine(card, [&](std::string_view line) {
        if (count == 2 * kMostLines) {
            std::abort();
        }
        const std::size_t colon = FindColon(line);
        const std::string_view value = line.substr(std::min(colon + 1, line.size()));
        blocks[count] = std::malloc(colon + 1);
        std::memcpy(blocks[count++], line.data(), colon);
        blocks[count] = std::malloc(2 * value.size() + 2);
        Widen(value, static_cast<char16_t*>(blocks[count++]));
    });
    for (std::size_t block = 0; block < count; ++block) {
        std::free(blocks[block]);
    }
    return count / 2;
}

std::vector<std::string> UnfoldLines(std::string_view card)
{
    std::vector<std::string> lines;
    ForEachLine(card, [&](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

std::string FoldLines(const std::vector<std::string>& lines)
{
    constexpr std::size_t kLineEnd = 2;
    std::size_t size = 0;
    for (const std::string& line : lines) {
        size += line.size() + kLineEnd + line.size() / kFoldBytes * (kLineEnd + 2);
    }
    std::string text;
    text.reserve(size);
    for (const std::string& line : lines) {
        AppendFoldedLine(line, &text);
    }
    return text;
}

} // namespace Bare
