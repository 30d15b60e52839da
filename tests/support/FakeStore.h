#pragma once

#include "core/ContactPlg.h"
#include "core/StoreFactories.h"
#include "platform/LastError.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

// A contact of a fake store. One without a name stands for a contact that found no memory.
struct FakeEntry
{
    std::string name;
    bool isReadOnly = false;
    std::vector<const char*> emails;
};

// What a fake store holds, which faults it has, and, in `calls`, what was asked of it.
struct FakeStore
{
    std::string type = "FAKE";
    std::vector<FakeEntry> entries;
    FILETIME version;
    bool isNew = true; // a poll says so
    bool hasEnumerator = true;
    std::uint32_t pollError = 0, openError = 0, finishError = 0, callError = 0;

    std::string calls;
    int live = 0; // plug-ins, enumerators and contacts

    bool Call(const std::string& call, std::uint32_t error)
    {
        calls += (calls.empty() ? "" : " ") + call;
        if (error != 0) {
            SetLastError(error);
        }
        return error == 0;
    }
};

class CFakeContact : public CContact
{
public:
    CFakeContact(FakeStore& store, const FakeEntry& entry) : m_store(store), m_entry(entry)
    {
        for (const char* text : entry.emails) {
            CContactEmail email;
            CRfc822Address address;
            address.Parse(text);
            email.SetAddress(address);
            m_emails.AddTail(email);
        }
        ++m_store.live;
    }
    ~CFakeContact() override { --m_store.live; }

    bool HasName() const { return !m_entry.name.empty(); }
    ContactMgr::CContactId GetId() override { return m_entry.name; }
    bool IsReadOnly() override { return m_entry.isReadOnly; }
    std::string GetPluginType() override { return m_store.type; }
    bool GetModifiedTime(FILETIME*) override { return false; }
    bool SetFirstName(const std::u16string&) override { return false; }
    bool SetLastName(const std::u16string&) override { return false; }
    bool GetProperty(const CContactProperty&, std::u16string*) override { return false; }
    bool GetProperty(const CContactProperty&, std::uint32_t*) override { return false; }
    bool GetProperty(const CContactProperty&, bool*) override { return false; }
    bool ToString(std::u16string*) override { return false; }

private:
    FakeStore& m_store;
    const FakeEntry& m_entry;
};

// Makes its contacts at Start, so that MoveNext allocates nothing.
class CFakeEnumerator : public CContactPlg::CContactEnumerator
{
public:
    explicit CFakeEnumerator(FakeStore& store) : m_store(store) { ++m_store.live; }
    ~CFakeEnumerator() override { --m_store.live; }

    bool Start(const FILETIME* version, bool* changed) override
    {
        Clear();
        if (version == nullptr) {
            m_isStarted = m_store.Call("open", m_store.openError);
        } else {
            const std::string since = std::to_string(FileTimeToCount(*version));
            m_isStarted = m_store.Call("poll:" + since, m_store.pollError) && m_store.isNew;
            *changed = m_isStarted;
        }
        for (const FakeEntry& entry : m_store.entries) {
            m_contacts.push_back(std::make_unique<CFakeContact>(m_store, entry));
        }
        return (version == nullptr ? m_store.openError : m_store.pollError) == 0;
    }
    bool IsStarted() override { return m_isStarted; }
    bool Finish() override
    {
        if (m_isStarted && !m_store.Call("finish", m_store.finishError)) {
            return false;
        }
        Clear();
        return true;
    }
    FILETIME GetVersion() override { return m_store.version; }
    bool MoveNext() override { return ++m_reached <= m_contacts.size(); }
    CContact* GetCurrent() override
    {
        const bool isThere = m_reached > 0 && m_reached <= m_contacts.size();
        return isThere && m_contacts[m_reached - 1]->HasName() ? m_contacts[m_reached - 1].get()
                                                               : nullptr;
    }

private:
    void Clear()
    {
        m_isStarted = false;
        m_reached = 0;
        m_contacts.clear();
    }

    FakeStore& m_store;
    bool m_isStarted = false;
    std::size_t m_reached = 0; // contacts that were current, with the present one
    std::vector<std::unique_ptr<CFakeContact>> m_contacts;
};

// Owns every identifier that begins with its type.
class CFakePlugin final : public CContactPlg
{
public:
    explicit CFakePlugin(FakeStore& store) : m_store(store) { ++m_store.live; }
    ~CFakePlugin() { --m_store.live; }

    static void Release(CContactPlg* plugin)
    {
        SetLastError(ERROR_GEN_FAILURE);
        delete static_cast<CFakePlugin*>(plugin);
    }

    std::string GetPluginType() override { return m_store.type; }
    bool OwnsContact(ContactMgr::CContactId id) override
    {
        return id.ToString().starts_with(m_store.type);
    }
    bool OpenContact(ContactMgr::CContactId id, CContact**) override
    {
        return m_store.Call("open:" + id.ToString(), m_store.callError);
    }
    CContact* CreateContact(CContact* contact) override
    {
        return m_store.Call("create", m_store.callError) ? contact : nullptr;
    }
    bool DeleteContact(ContactMgr::CContactId id) override
    {
        return m_store.Call("delete:" + id.ToString(), m_store.callError);
    }
    bool ChangesSince(FILETIME since, FILETIME* version, ContactMgr::CContactIdList* deleted,
                      ContactMgr::CContactIdList* changed,
                      ContactMgr::CContactIdList* created) override
    {
        *version = since;
        deleted->AddTail("deleted");
        changed->AddTail("changed");
        created->AddTail("created");
        return m_store.Call("changes", m_store.callError);
    }
    CContactEnumerator* GetEnumerator() override
    {
        return m_store.hasEnumerator ? new CFakeEnumerator(m_store) : nullptr;
    }

private:
    FakeStore& m_store;
};
