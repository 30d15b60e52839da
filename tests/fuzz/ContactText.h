#pragma once

#include "directory/TextLines.h"
#include "fuzz/Fuzz.h"
#include "pab/PABContact.h"
#include "platform/LastError.h"
#include "support/ContentLines.h"
#include "text/Utf8.h"

#include <string>

// The contact's text without the two lines that every save renews. A contact with a line name that
// is no UTF-8 has none.
inline std::string TextOf(CPABContact& contact)
{
    std::u16string wide;
    if (!contact.ToString(&wide)) {
        FuzzCheck(GetLastError() == ERROR_INVALID_DATA, "only bytes that are no UTF-8 are refused");
        return {};
    }
    std::string text;
    FuzzCheck(WideToUtf8(wide, &text), "an exported text is good UTF-16");
    std::string kept;
    const CTextLines lines(text);
    for (const std::string_view line : lines.Lines()) {
        CParsedLine parsed;
        parsed.Parse(line);
        if (parsed.name != "REV" && parsed.name != "X-LARKMERE-WSSVERSION") {
            kept.append(line).append("\r\n");
        }
    }
    return kept;
}
