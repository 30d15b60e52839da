#pragma once

#include "platform/List.h"
#include "platform/Types.h"
#include "text/Utf8String.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The lines of a directory text (RFC 2425), in memory and as text. Nothing here knows of vCard.
//
// Text that is refused leaves the last error alone, except that writing a wide text that is no
// UTF-16 leaves 13; exhausted memory leaves 8. Constructors and the free functions, whose result
// must not be mistaken for a whole one, throw std::bad_alloc then, as copying a string does.
// A record belongs to one thread at a time.
namespace DirectoryUtils
{

// Traced allocation of the records; `new` gives null when memory is exhausted.
struct CRecordAllocation
{
    static void* operator new(std::size_t size) noexcept;
    static void* operator new(std::size_t size, const char* file, std::uint32_t line,
                              CDummy) noexcept;
    static void operator delete(void* memory) noexcept;
    static void operator delete(void* memory, const char* file, std::uint32_t line,
                                CDummy) noexcept;
};

// The values of one parameter, in the order in which they were added. A value.
class CParameterValues : public CList<std::u16string>, public CRecordAllocation
{};

// The parameters of a line: names, compared byte for byte, and the values of each. Owns the values
// of its entries; a copy has values of its own. A value.
class CParameters : public CRecordAllocation
{
public:
    struct CEntry
    {
        std::string name;
        std::unique_ptr<CParameterValues> values;
    };

    CParameters() = default;
    CParameters(const CParameters& other);
    CParameters(CParameters&& other) noexcept = default;
    CParameters& operator=(CParameters other) noexcept;
    virtual ~CParameters() { RemoveAll(); }

    std::size_t GetCount() const { return m_entries.size(); }
    bool IsEmpty() const { return m_entries.empty(); }
    void RemoveAll() noexcept;

    // On a hit `values` points to the entry's values, which stay this object's.
    bool Lookup(std::string_view name, CParameterValues*& values) const;

    // Adds an entry and takes the values over. Where the name stands already its values are
    // replaced, not freed. On failure, and null values are one, they stay the caller's.
    bool SetAt(std::string_view name, CParameterValues* values);

    // The values of the name; a missing entry is added, without values. Null on failure.
    CParameterValues* FindOrAdd(std::string_view name);

    // Reads one parameter, NAME=VALUE or NAME=VALUE,VALUE,..., that begins at *position (in bytes):
    //   true         another one follows and *position is behind its ";"
    //   false        it was the last and *position is behind the ":" that ends the list
    //   false, -1    the text is malformed, or memory is exhausted
    // Names are folded to upper case, and the values of a repeated name add up. A value may stand
    // in quotes, and ^n, ^^ and ^' in it are decoded (RFC 6868). `NAME=` is one empty value. A word
    // without "=", as vCard 2.1 had it, is malformed, and so are an open quote, text behind a
    // closing quote, a value that is no UTF-8, and a line of 2 GB. A quote inside an unquoted
    // value stands for itself.
    bool Extract(std::string_view line, int* position);

    // Appends ";NAME=VALUE,VALUE" for each entry that has values. What Extract would take apart is
    // quoted or encoded (RFC 6868), so that it reads the same values back; only a carriage return
    // comes back as a line feed. False for a null output.
    bool ToString(CUtf8String* out) const;

    // The entries, in no order that a caller may rely on.
    auto begin() const { return m_entries.cbegin(); }
    auto end() const { return m_entries.cend(); }

private:
    friend CParameterValues& FindOrAddValues(CParameters* parameters, std::string name);

    std::size_t IndexOf(std::string_view name) const;
    CEntry& AddEntry(std::string name);

    std::vector<CEntry> m_entries;
    // Names with the numbers of their entries; empty while there are so few that a walk is faster.
    // Ordered, since a stranger can choose names that collide in any hash.
    using CIndex = std::map<std::string, std::size_t, std::less<>>;
    CIndex m_index;
};

// One line: group, name, parameters and main value. The main value is the raw text behind the
// colon: backslash escapes and the semicolons of structured values stand in it as they are. A value
// that is copied, not assigned, since the name of a line does not change.
class CContentLine : public CTracedAllocation
{
public:
    explicit CContentLine(std::string name) : m_name(std::move(name)) {}
    CContentLine(std::string group, std::string name, CParameters parameters, std::u16string value);
    CContentLine(const CContentLine& other) = default;
    CContentLine(CContentLine&& other) noexcept = default;
    CContentLine& operator=(const CContentLine&) = delete;
    virtual ~CContentLine() = default;

    const std::string& GetGroup() const { return m_group; }
    std::string& GetGroup() { return m_group; }
    const std::string& GetName() const { return m_name; }
    std::string& GetName() { return m_name; }
    // Always false: a line keeps its name.
    bool SetName(const std::string& name);
    const CParameters& GetParameters() const { return m_parameters; }

    virtual const std::u16string& GetMainValue() const { return m_mainValue; }
    virtual bool SetMainValue(std::u16string value);

    // Takes one unfolded line, UTF-8 without its line end, apart: [group "."] name *(";" parameter)
    // ":" value. The name comes in upper case. After false the outputs are not to be used.
    static bool Parse(std::string_view line, std::string* group, std::string* name,
                      CParameters* parameters, std::u16string* value);

    // The line as UTF-8, not folded and without a line end. After false the output holds the part
    // that could be built.
    bool ToString(CUtf8String* out) const;

    // Appends the line as it stands in a file: folded (AppendFoldedLine) so that no physical line
    // has more than maxLineLength bytes, its tab counted. On failure the text is as it was.
    bool AppendFolded(std::string* text, std::uint32_t maxLineLength) const;

    // The same to an open file at its position. A failed write leaves WriteFile's last error.
    bool Write(HANDLE file, std::uint32_t maxLineLength) const;

protected:
    CParameters& Parameters() { return m_parameters; }

    // The component of a structured value at *position, which moves behind the separator, or to -1
    // where the text ended the component. Escapes and quotes protect nothing. A null or negative
    // position gives an empty text.
    static std::u16string GetTextComponent(std::u16string_view text, char16_t separator,
                                           int* position);

private:
    std::string m_group;
    std::string m_name;
    CParameters m_parameters;
    std::u16string m_mainValue;
};

// List of lines of any derived class. Owns the lines that are in it when it is destroyed or takes
// the place of another; RemoveAt and RemoveAll only unlink. A resource: movable, not copyable.
class CContentLines : public CList<CContentLine*>, public CRecordAllocation
{
public:
    CContentLines() = default;
    CContentLines(CContentLines&& other) noexcept = default;
    CContentLines& operator=(CContentLines&& other) noexcept;
    ~CContentLines() override { DeleteAll(); }

    // Destroys every line and empties the list.
    void DeleteAll() noexcept;

    // The first line of that name, ASCII case ignored, from the head or behind `after`.
    POSITION Find(std::string_view name, POSITION after = nullptr) const;
};

// Writes \ as \\, comma as \, and line feed as \n; nothing else, so a semicolon is not protected.
std::u16string EscapeTextValue(std::u16string_view text);

// The inverse: \\, \, and \n. Any other backslash stands for itself.
std::u16string UnescapeTextValue(std::u16string_view text);

// Appends one line and CR LF, folded with CR LF and a tab (RFC 2425, 5.8.1): at most firstLength
// bytes, then at most continuationLength bytes behind each tab. A character is never cut, and a
// physical line has at least one. Line breaks in the line become blanks, and a line that would
// begin with a blank, and so continue the line before it, gets a "." in front, which Parse skips.
void AppendFoldedLine(std::string_view line, std::size_t firstLength,
                      std::size_t continuationLength, std::string* out);

} // namespace DirectoryUtils
