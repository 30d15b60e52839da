#include "server/MessageFile.h"

#include "platform/Failure.h"
#include "platform/FileContent.h"
#include "text/MimeLibrary.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include <gio/gio.h>

inline namespace contactmgr_internal
{

namespace
{

using namespace std::string_view_literals;

constexpr std::string_view kGzipStart = "\x1F\x8B\x08"sv;
constexpr char kGzip[] = "gzip";

// The bytes that files of each compression begin with. Mail servers with lz4 write a form of their
// own beside that of the lz4 program.
constexpr struct
{
    std::string_view start;
    const char* name;
} kCompressions[] = {
    {kGzipStart, kGzip},
    {"BZh"sv, "bzip2"},
    {"\xFD\x37zXZ\0"sv, "xz"},
    {"\x04\x22\x4D\x18"sv, "lz4"},
    {"Dovecot-LZ4\r\x2A\x9B\xC5"sv, "lz4"},
    {"\x28\xB5\x2F\xFD"sv, "zstd"},
};

// Behind "BZh" and a digit stands the mark of the first block, or of the end.
bool IsBzip2(std::string_view start)
{
    const std::string_view mark = start.substr(std::min<std::size_t>(start.size(), 4), 6);
    return mark == "1AY&SY" || mark == "\x17\x72\x45\x38\x50\x90";
}

const char* CompressionOf(std::string_view start)
{
    for (const auto& known : kCompressions) {
        if (start.starts_with(known.start) && (known.start != "BZh" || IsBzip2(start))) {
            return known.name;
        }
    }
    return "";
}

bool ReadBytes(HANDLE file, std::uint32_t size, std::string* bytes, bool* isEnd)
{
    const std::size_t used = bytes->size();
    bytes->resize(used + size);
    std::uint32_t count = 0;
    const bool isRead = ReadFile(file, bytes->data() + used, size, &count, nullptr) != 0;
    bytes->resize(used + (isRead ? count : 0));
    *isEnd = count < size;
    return isRead;
}

} // namespace

// Decompresses the file behind the bytes that have been read of it. The decompressor of GIO is
// used, on which the MIME library stands: the filter of the MIME library itself tells no damage,
// and loses text where a few bytes stand for much.
class CGunzip
{
public:
    CGunzip(HANDLE file, std::string start, bool isFileEnd)
        : m_file(file),
          m_input(std::move(start)),
          m_isFileEnd(isFileEnd),
          m_bytesIn(m_input.size()),
          m_decompressor(G_CONVERTER(g_zlib_decompressor_new(G_ZLIB_COMPRESSOR_FORMAT_GZIP)))
    {}

    bool Read(std::uint32_t size, std::string* text, bool* isEnd)
    {
        const std::size_t used = text->size();
        text->resize(used + size);
        std::size_t count = 0;
        bool isRead = true;
        while (isRead && count < size && !m_isEnd) {
            isRead = Fill(1) && Convert(text->data() + used, size, &count);
        }
        text->resize(used + (isRead ? count : 0));
        *isEnd = count < size;
        return isRead;
    }

private:
    static constexpr std::uint32_t kPiece = 4 << 10;
    // How far the file may run ahead of its text. More is no mail: the text of a mail is longer
    // than its compressed form but for the gzip header.
    static constexpr std::size_t kMaxLead = 128 << 10;

    // Reads on in the file until so many bytes wait, or until its end.
    bool Fill(std::size_t size)
    {
        while (m_input.size() - m_used < size && !m_isFileEnd) {
            m_input.erase(0, std::exchange(m_used, 0));
            const std::size_t before = m_input.size();
            if (!ReadBytes(m_file, kPiece, &m_input, &m_isFileEnd)) {
                return false;
            }
            m_bytesIn += m_input.size() - before;
            if (m_bytesIn > m_bytesOut + kMaxLead) {
                return Fail(ERROR_INVALID_DATA);
            }
        }
        return true;
    }

    // Decompresses into the rest of the room behind *count bytes.
    bool Convert(char* room, std::size_t size, std::size_t* count)
    {
        gsize in = 0;
        gsize out = 0;
        const GConverterResult result = g_converter_convert(
            m_decompressor.get(), m_input.data() + m_used, m_input.size() - m_used, room + *count,
            size - *count, m_isFileEnd ? G_CONVERTER_INPUT_AT_END : G_CONVERTER_NO_FLAGS, &in, &out,
            nullptr);
        if (result == G_CONVERTER_ERROR) {
            return Fail(ERROR_INVALID_DATA);
        }
        m_used += in;
        m_bytesOut += out;
        *count += out;
        return result != G_CONVERTER_FINISHED || StartNextMember();
    }

    // A file may hold several compressed members, one behind the other (RFC 1952 section 2.2).
    // Other bytes behind the last are passed over.
    bool StartNextMember()
    {
        if (!Fill(kGzipStart.size())) {
            return false;
        }
        m_isEnd = !std::string_view(m_input).substr(m_used).starts_with(kGzipStart);
        g_converter_reset(m_decompressor.get());
        return true;
    }

    const HANDLE m_file;
    std::string m_input;    // the piece of the file that is being decompressed
    std::size_t m_used = 0; // of it
    bool m_isFileEnd;
    bool m_isEnd = false;
    std::size_t m_bytesIn;
    std::size_t m_bytesOut = 0;
    const std::unique_ptr<GConverter, CUnref> m_decompressor;
};

CMessageFile::CMessageFile(CFileHandle file) : m_file(std::move(file)) {}
CMessageFile::~CMessageFile() = default;

bool CMessageFile::Read(std::uint32_t size, std::string* text, bool* isEnd)
{
    const bool isFirst = m_compression == nullptr;
    if (isFirst || *m_compression == '\0') {
        const std::size_t used = text->size();
        if (!ReadBytes(m_file.Get(), size, text, isEnd)) {
            return false;
        }
        const std::string_view bytes = std::string_view(*text).substr(used);
        m_compression = isFirst ? CompressionOf(bytes) : m_compression;
        if (*m_compression == '\0') {
            return true;
        }
        if (m_compression == std::string_view(kGzip)) {
            m_gunzip = std::make_unique<CGunzip>(m_file.Get(), std::string(bytes), *isEnd);
        }
        text->resize(used);
    }
    return m_gunzip != nullptr ? m_gunzip->Read(size, text, isEnd)
                               : Fail(ERROR_UNSUPPORTED_COMPRESSION);
}

void CMessageFile::Rewind()
{
    SetFilePointer(m_file.Get(), 0, nullptr, FILE_BEGIN);
    m_gunzip.reset();
    m_compression = nullptr;
}

} // namespace contactmgr_internal
