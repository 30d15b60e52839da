#pragma once

#include "cards/VCard.h"
#include "intake/ImportCard.h"

#include <string>
#include <string_view>

// Lines as programs really write them, of all versions of vCard, into lines of vCard 3.0.

// Takes one unfolded line apart, in whatever charset it is. Takes what ReadVCardLine takes, and
// also parameters without a name (vCard 2.1: TEL;HOME:), empty ones, and quotes that are not
// closed. False if there is no name or no colon.
bool ReadLooseLine(std::string_view text, CVCardLine* line);

// How its value is encoded (vCard 2.1, 2.1.3).
bool IsQuotedPrintable(const CVCardLine& line);
bool IsInBase64(const CVCardLine& line);

// Decodes quoted-printable and the charset, and drops the parameters that name them. The line is
// UTF-8 then. A line break in its value is the escape \n. Base64 that is no text stays, without
// blanks, and its parameter has the form of vCard 3.0, ENCODING=b. A line that names no charset and
// is no UTF-8: DecodeUnknown.
void DecodeLine(CVCardLine* line, CImportCard* card);
