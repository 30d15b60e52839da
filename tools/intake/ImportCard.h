#pragma once

#include "cards/VCard.h"
#include "intake/InputText.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// One card on its way into the address book, read from whatever form. A value.
struct CImportCard
{
    std::size_t number = 0;  // counted from 1 in its file
    CVCard card;             // vCard 3.0, as the store keeps it
    std::string charset;     // that some of its lines name; empty without one
    bool isNameMade = false; // FN was made of other lines

    // What it is instead of a person, such as "a group of contacts"; null for a person.
    const char* notPerson = nullptr;

    // Why it is no card; empty if it is one. And the library's number for that.
    std::string fault;
    std::uint32_t faultCode = 0;

    // What was changed to make a card of it that the store takes, and what the store cannot keep,
    // in a few words each; no more than a hundred, and none twice.
    std::vector<std::string> changes;
    std::vector<std::string> losses;
    std::vector<std::string> leftOut; // lines that cannot be read

    void AddChange(std::string text) { AddOnce(std::move(text), &changes); }
    void AddLoss(std::string text) { AddOnce(std::move(text), &losses); }

    // Changes and losses in one line; empty without any.
    std::string Note() const;

private:
    static void AddOnce(std::string text, std::vector<std::string>* texts);
};

// Reads the cards of one file. A resource.
class CCardSource
{
public:
    CCardSource() = default;
    virtual ~CCardSource() = default;
    CCardSource(const CCardSource&) = delete;
    CCardSource& operator=(const CCardSource&) = delete;

    // False at the end of the file, and where it cannot be read any further. *card is new then.
    virtual bool Next(CImportCard* card) = 0;

    // What a file of this form without a card lacks, for a message.
    virtual std::string_view Contents() const { return "vCard"; }
};

// The reader for the form that the text begins with: vCards, JSON, LDIF or CSV. What is none of
// these is read as vCards, between which any text may stand. The text stays the caller's.
std::unique_ptr<CCardSource> OpenCards(CInputText& input);

// The text in UTF-8. What is none is taken as text of the card's charset, else as Windows-1252. The
// card tells that as a change.
std::string DecodeUnknown(std::string text, CImportCard* card);

// Makes of vCard 3.0 lines what the store keeps of them. Where FN is missing it is made of the
// other names. Escapes become those that the store knows, an escaped semicolon in N, ADR and ORG a
// comma. The lines of the four lists lose their groups and all parameters but the types that the
// store has bits for; URIs of the schemes tel and mailto become what they name. A line EMAIL
// without a mail address is left out. To be called once for each card, by the readers.
void FitToStore(CImportCard* card);
