#pragma once

#include "platform/Types.h"

#include <chrono>
#include <span>
#include <string>
#include <string_view>

// Conversions of text between the library, the command line and the terminal. All narrow text is
// UTF-8. What does not decode becomes U+FFFD.

std::string ToUtf8(std::u16string_view text);
std::string ToUtf8(std::string_view bytes);

// Throws CUsageError for bytes that are no UTF-8; `what` says what they are.
std::u16string ToWide(std::string_view text, std::string_view what);

// One field of a line of plain output: each control character and line separator is a blank.
std::string ToField(std::u16string_view text);
std::string ToField(std::string_view bytes);

// The same of several lines: tabs and ends of lines stay.
std::string ToLines(std::u16string_view text);

// A label and names for the help of a command, in lines of 76 bytes.
std::string ListNames(std::string label, std::span<const std::string_view> names);

// ASCII letters in lower case, or in capitals. All else stays.
std::string LowerText(std::string_view text);
std::string UpperText(std::string_view text);

// Without the blanks, tabs and line ends around it.
std::string_view Trimmed(std::string_view text);

// CR LF and CR become LF.
std::string UnifyLineBreaks(std::string_view text);

// Versions are decimal 64-bit counts. False for any other text.
bool ParseVersion(std::string_view text, FILETIME* version);
std::string VersionText(const FILETIME& version);

// A number of seconds from 0 on, with a fraction or without. False for any other text.
bool ParseSeconds(std::string_view text, std::chrono::duration<double>* seconds);

// NAME=VALUE at the first "=". Throws CUsageError if there is none, or no name before it.
struct CAssignment
{
    std::string_view name;
    std::string_view value;
};
CAssignment ParseAssignment(std::string_view text);

// NAME@DOMAIN at the last "@". Throws CUsageError if it is no such text.
struct CMailboxName
{
    std::string name;
    std::string domain;
};
CMailboxName ParseMailboxName(std::string_view text);
