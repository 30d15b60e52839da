#pragma once

#include <string>

class CSession;

// How `sync` is run. A value.
struct CSyncOptions
{
    std::string folder;
    std::string statePath; // beside the folder if empty
    bool acceptsEmpty = false;
    bool isDryRun = false;
};

// Brings the address book and the folder to the same state. Prints a line for each card that was
// created, changed or deleted, and for each conflict. False if something failed, which is reported.
bool Sync(CSession& session, const CSyncOptions& options);
