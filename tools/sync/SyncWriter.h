#pragma once

#include "cards/VCard.h"
#include "sync/SyncPlan.h"
#include "sync/Vdir.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

class CContact;
class CSession;

// Takes the actions of a plan, in an order in which a death at any moment loses and doubles
// nothing:
//
//   1. the state, with PendingCard of all actions but conflicts
//   2. all changes of the address book; of a conflict, their card as a contact of its own; a flush
//   3. after conflicts the state again, with PendingCard of these
//   4. all new texts beside their files, a flush, and the texts in their places; the removals; a
//      flush
//   5. the state of the end
//
// Each card is compared once more with what the plan knows, right before it is changed. One that
// somebody has changed meanwhile keeps its pending state, and the next run sees to it. So does one
// whose change failed, which is reported. A resource, for one run.
class CSyncWriter
{
public:
    // `next` is the state of the end with those cards alone that take no part.
    CSyncWriter(CSession& session, CVdir& vdir, std::string statePath, CSyncState next);
    ~CSyncWriter();
    CSyncWriter(const CSyncWriter&) = delete;
    CSyncWriter& operator=(const CSyncWriter&) = delete;

    // `before` is what the state file holds. False if the run ended early, which is reported.
    bool Run(std::vector<CSyncAction> plan, const CSyncState& before);

private:
    struct CWork
    {
        CSyncAction action;
        std::optional<CSyncedCard> card; // for the state
    };
    struct CStaged
    {
        std::size_t index;
        std::string file;
        CFileMark mark;
        std::string digest;
    };

    bool WriteState(const FILETIME& version);
    bool ChangeBook(const FILETIME& version);
    bool ChangeFiles();
    std::unique_ptr<CContact> OpenUnchanged(const CSyncAction& action, CVCard* card);
    std::unique_ptr<CContact> TakeNew(const std::string& what);
    std::string StoreTheirs(const CSyncAction& action, const std::string& uid, bool isNew,
                            std::string* digest);
    bool Save(CContact& contact, const CVCard& card, const std::string& what);
    void TakeIn(CWork& work);
    void RemoveContact(CWork& work);
    bool KeepTheirs(const CSyncAction& action, CWork* added);
    void StageFile(std::size_t index);
    void StageUid(std::size_t index);
    void Stage(std::size_t index, const std::string& file, const std::string& text,
               const std::string& digest);
    void Commit(const CStaged& staged);
    void RemoveFile(CWork& work);
    std::string FreshName(const std::string& uid);

    CSession& m_session;
    CVdir& m_vdir;
    const std::string m_statePath;
    CSyncState m_next;
    CSyncState m_written; // what the file holds
    std::vector<CWork> m_works;
    std::vector<CStaged> m_staged;
    std::set<std::string> m_names; // of files, taken or to be
    bool m_isBookChanged = false;
};

// What the actions would do, a line for each.
void PrintPlan(const std::vector<CSyncAction>& plan);
