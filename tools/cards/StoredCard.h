#pragma once

#include "core/Contact.h"
#include "platform/FileHandle.h"

#include <cstdint>
#include <string>
#include <string_view>

class CContact;

// The card of a contact of the address book as a text to work on: UTF-8, a line feed behind each
// line, no folds.

inline constexpr const char* kWriteCounter = "X-LARKMERE-WSSVERSION";

// A card without its folds. A line that is no UTF-8 is taken as Latin-1. BEGIN and END stay.
std::string UnfoldCard(std::string_view text);

// Gives a contact the record of a text. Unlike CContact::FromString it leaves each mail address the
// name that the text has with it. Save writes it. False with the last errors of FromString.
bool ReplaceCard(CContact& contact, const std::string& text);

// A contact of the address book that is to be read and then deleted, held all the while as an open
// CContact holds it. CContactMgr::DeleteContact holds a contact itself, so it would have to be let
// go of in between, and somebody could change it. A resource.
class CHeldCard
{
public:
    // Opens and locks the file of a contact and reads it. False: last error as
    // CContactMgr::OpenContact leaves it, 0 for a file that is no vCard 3.0.
    bool Hold(const std::string& file);

    // As UnfoldCard gives it.
    const std::string& Text() const { return m_text; }

    // Deletes the contact, as CContactMgr::DeleteContact does, and lets go of it.
    bool Delete();

private:
    CFileHandle m_file;
    std::string m_text;
};
