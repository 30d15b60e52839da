#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

// U+FEFF in UTF-8.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The text of a file or of standard input, piece by piece, in memory for one piece. UTF-16 of
// either byte order, with a byte order mark or without, comes out as UTF-8; all other bytes come
// out as they are, without a byte order mark of UTF-8 in front. A resource.
class CInputText
{
public:
    // The file stays the caller's.
    explicit CInputText(std::FILE* file);
    CInputText(const CInputText&) = delete;
    CInputText& operator=(const CInputText&) = delete;

    bool IsUtf16() const { return m_form != EForm::kBytes; }

    // What has been read and not been taken yet, from at most 64 KB of the file; empty at the end
    // of the file, and where it cannot be read any further. A view until the next call.
    std::string_view Rest();

    // Takes bytes off the front of Rest.
    void Take(std::size_t count) { m_begin += count; }

    // Takes a physical line, which ends with CR, LF or both, and keeps up to maxBytes of it without
    // its end. False at the end of the file.
    bool TakeLine(std::size_t maxBytes, std::string* line);

private:
    enum class EForm
    {
        kBytes,
        kUtf16Little,
        kUtf16Big
    };
    void Fill();
    void FindForm();
    void ConvertUtf16();
    bool TakeLineEnd();

    std::FILE* m_file;
    bool m_isEnd = false; // nothing is read after the end, or after a signal that cut a read short
    EForm m_form = EForm::kBytes;
    std::string m_text;
    std::size_t m_begin = 0;
    std::string m_undecoded; // the beginning of a UTF-16 character
};
