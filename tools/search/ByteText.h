#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Numbers and texts one behind the other, for a file that only the program itself reads. A number
// takes seven bits a byte, the lowest first, and the last byte has no high bit.

class CByteWriter
{
public:
    void Add(std::uint64_t number)
    {
        constexpr std::uint64_t kMore = 0x80;
        for (; number >= kMore; number >>= 7) {
            m_text += static_cast<char>(number | kMore);
        }
        m_text += static_cast<char>(number);
    }
    void Add(std::string_view text)
    {
        Add(text.size());
        m_text += text;
    }
    void AddReal(double number) { Add(std::bit_cast<std::uint64_t>(number)); }

    const std::string& Text() const { return m_text; }

private:
    std::string m_text;
};

// Reads what CByteWriter wrote. Past the end everything is zero and empty, and IsGood is false.
class CByteReader
{
public:
    explicit CByteReader(std::string_view text) : m_rest(text) {}

    std::uint64_t Number()
    {
        std::uint64_t number = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            if (m_rest.empty()) {
                m_isGood = false;
                return 0;
            }
            const auto byte = static_cast<unsigned char>(m_rest.front());
            m_rest.remove_prefix(1);
            number |= std::uint64_t{byte & 0x7FU} << shift;
            if (byte < 0x80) {
                return number;
            }
        }
        m_isGood = false;
        return 0;
    }
    // A view of the text that is read.
    std::string_view Text()
    {
        const std::uint64_t size = Number();
        if (size > m_rest.size()) {
            m_isGood = false;
            return {};
        }
        const std::string_view text = m_rest.substr(0, size);
        m_rest.remove_prefix(size);
        return text;
    }
    double Real() { return std::bit_cast<double>(Number()); }
    // How many items follow; each takes at least a byte.
    std::size_t Count()
    {
        const std::uint64_t count = Number();
        m_isGood = m_isGood && count <= m_rest.size();
        return m_isGood ? count : 0;
    }

    bool IsGood() const { return m_isGood; }

private:
    std::string_view m_rest;
    bool m_isGood = true;
};
