#pragma once

#include "intake/CardReader.h"
#include "intake/ImportCard.h"

#include <string_view>

// Reads a file of vCards of the versions 2.1, 3.0 and 4.0, and makes vCard 3.0 of them. A resource.
class CVCardSource : public CCardSource
{
public:
    // Whether a line BEGIN:VCARD stands in the beginning of a text.
    static bool IsBeginning(std::string_view head);

    explicit CVCardSource(CInputText& input) : m_reader(input) {}

    bool Next(CImportCard* card) override;

private:
    CCardReader m_reader;
};

// Makes vCard 3.0 of one card, whose lines have no folds and end with LF, BEGIN and END with them.
// In a card of version 2.1 a value has the escapes of vCard 3.0 then, and in one of version 4.0 the
// most preferred line of a list has TYPE=pref, and images lie in base64 instead of data: URIs. A
// card in an AGENT line becomes the value of that line (RFC 2426, 3.5.4), behind a first one with
// its name, which the store knows as the manager.
void ConvertCard(std::string_view text, CImportCard* card);
