#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The floors of reading and writing a vCard.
namespace Bare
{

// Unfolds each line, splits it at the colon, and copies its name and its value, as UTF-16, into a
// block of memory each. The blocks are freed at the end. Gives the number of lines.
std::size_t ParseCard(std::string_view card);

// The lines of a card, unfolded, without their line ends.
std::vector<std::string> UnfoldLines(std::string_view card);

// A text of the lines, each folded behind 75 bytes but not within a character.
std::string FoldLines(const std::vector<std::string>& lines);

} // namespace Bare
