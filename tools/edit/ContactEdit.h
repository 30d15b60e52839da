#pragma once

#include <string>

class CSession;

// Lets the user edit a contact of the address book as a vCard (base/TextEditor.h), and saves it.
//
// The contact is not held meanwhile: an editor may stay open for long, and the address book is
// others' too. If somebody has changed the contact, the text is not saved. A text that is no card
// can be edited again, if somebody is there to ask. What was typed and not saved stays in a file,
// whose name is told. False if nothing was saved for a fault, which is reported.
bool EditContact(CSession& session, const std::string& id);
