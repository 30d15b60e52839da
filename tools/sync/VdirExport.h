#pragma once

#include "cards/VCard.h"

#include <functional>
#include <string>

class CSession;

// The text of a card in the form that was asked for.
using CCardWriter = std::function<std::string(const CVCard& card)>;

// Keeps a folder of cards as the address book is, one way. A contact that has changed is written,
// and the file of a deleted one is removed. Only contacts that changed since the last run are
// opened; the folder keeps that in a file of its own, ".contactmgr-export". A missing file is
// written anew. A file that somebody else has changed is left alone, until its contact changes.
// False if something failed, which is reported.
bool ExportVdir(CSession& session, const std::string& folder, const CCardWriter& write);
