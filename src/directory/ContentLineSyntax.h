#pragma once

#include "directory/ContentLine.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The text form of lines, for the library's own sources. The operations of CContentLine and
// CParameters call these functions and say what they do. Here exhausted memory throws
// std::bad_alloc, and no pointer may be null.
namespace DirectoryUtils
{

// CContentLine::Parse.
bool ParseLine(std::string_view line, std::string* group, std::string* name,
               CParameters* parameters, std::u16string* value);

// The parameters of a line, value by value, as CParameters::Extract reads them. Views of the line.
class CParameterReader
{
public:
    // A parameter begins at the position.
    CParameterReader(std::string_view line, std::size_t position)
        : m_line(line), m_position(position)
    {}

    // Moves to the next value. False behind the last one, and where the text is malformed.
    bool Next();
    bool IsMalformed() const { return m_separator == '\0'; }

    // Behind the separator that ends the value: "," in front of another value of the parameter, ";"
    // in front of another parameter, ":" behind the last.
    std::size_t Position() const { return m_position; }
    char Separator() const { return m_separator; }

    // The parameter's name, in the case that it has in the line.
    std::string_view Name() const { return m_name; }
    // The value without its quotes; and with ^n, ^^ and ^' decoded (RFC 6868). No test is made of
    // its UTF-8.
    std::string_view Raw() const { return m_raw; }
    std::string Value() const;

private:
    bool Fail();
    bool TakeName();
    bool TakeRaw();

    std::string_view m_line;
    std::size_t m_position;
    char m_separator = ';';
    std::string_view m_name;
    std::string_view m_raw;
};

// Takes the group and the name off a line, as they stand in it. *position moves behind the
// separator that ends the name, ";" or ":". False: the line has no name.
bool TakeName(std::string_view line, std::size_t* position, std::string_view* group,
              std::string_view* name);

// What stands behind the name, in UTF-8: views of the line.
struct CLineRest
{
    // From behind the ";" to the ":", with it; empty without parameters.
    std::string_view parameters;
    std::string_view value;
};

// Takes apart what stands behind the name, from the position that TakeName gave. TakeName and
// TakeRest together take the same lines as ParseLine.
bool TakeRest(std::string_view line, std::size_t position, CLineRest* rest);

// Reads one parameter; the reader is then on its last value. False: it is malformed, and nothing
// was added.
bool ReadParameter(CParameterReader* reader, CParameters* parameters);

// CContentLine::ToString and CParameters::ToString, behind what the text holds already.
bool AppendLine(const CContentLine& line, std::string* text);
bool AppendParameters(const CParameters& parameters, std::string* text);

// One value of a parameter, behind its separator.
bool AppendParameterValue(const std::u16string& value, std::string* text);

// The text that AppendLine gives for the line that ParseLine reads from this one, which it takes.
void AppendRewritten(std::string_view line, std::string* text);

// CContentLine::AppendFolded. An exception may leave a part of the line in the text.
bool AppendFolded(const CContentLine& line, std::uint32_t maxLineLength, std::string* text);

// CParameters::FindOrAdd.
CParameterValues& FindOrAddValues(CParameters* parameters, std::string name);

} // namespace DirectoryUtils
