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

// CParameters::Extract, except that the position stays on the separator behind the parameter. After
// false the position has no meaning.
bool ReadParameter(std::string_view line, std::size_t* position, CParameters* parameters);

// CContentLine::ToString and CParameters::ToString, behind what the text holds already.
bool AppendLine(const CContentLine& line, std::string* text);
bool AppendParameters(const CParameters& parameters, std::string* text);

// CContentLine::AppendFolded. An exception may leave a part of the line in the text.
bool AppendFolded(const CContentLine& line, std::uint32_t maxLineLength, std::string* text);

// CParameters::FindOrAdd.
CParameterValues& FindOrAddValues(CParameters* parameters, std::string name);

} // namespace DirectoryUtils
