#include "base/Walk.h"

#include "base/Stores.h"

#include <cstddef>
#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace
{

// One walk, and what it has passed over so far.
class CWholeWalk
{
public:
    CWholeWalk(CSession& session, const CWalk& walk, const std::string& what,
               const std::function<void(CContact&)>& show)
        : m_session(session), m_walk(walk), m_what(what), m_show(show)
    {}

    bool Run(const FILETIME* since)
    {
        if (m_walk == nullptr ||
            !m_session.Patience().Try([&] { return m_walk->Start(since, nullptr); })) {
            return m_session.FailStart(m_what, m_walk.get());
        }
        while (Try([&] { return m_walk->MoveNext(); })) {
            ShowMissed();
            if (!WasShownLate(*m_walk->GetCurrent())) {
                m_show(*m_walk->GetCurrent());
            }
        }
        if (m_walk->IsStarted()) {
            return m_session.Report().Failure(m_what); // no memory
        }
        m_walk->Finish();
        ReportPassedOver();
        ShowMissed();
        return true;
    }

private:
    // What the walk has passed over since the last call. It tells of a store's contacts when it
    // comes to the next store, so those of the address book still stand in front of the others.
    void ShowMissed()
    {
        const CContactPlg::CWalkFaults& faults = m_walk->GetFaults();
        std::vector<std::string> held;
        for (; m_faultCount < faults.size(); ++m_faultCount) {
            const CContactPlg::CWalkFault& fault = faults[m_faultCount];
            if (fault.store == kAddressBook && CPatience::IsHeld(fault.error)) {
                held.push_back(fault.item);
            } else {
                ShowLate(m_session.OpenMissed(m_what, fault));
            }
        }
        ShowHeld(std::move(held));
    }

    // All are tried in turn, so that one that is held for long does not hide the others.
    void ShowHeld(std::vector<std::string> ids)
    {
        do {
            std::erase_if(ids, [this](const std::string& id) { return IsDoneWith(id); });
        } while (!ids.empty() && m_session.Patience().Wait());
        for (const std::string& id : ids) {
            ShowLate(m_session.OpenListed(m_what, id));
        }
    }

    // Tries once. False if the contact is still held.
    bool IsDoneWith(const std::string& id)
    {
        CContact* contact = nullptr;
        if (!Try([&] { return m_session.Manager().OpenContact(id, &contact); }) &&
            CPatience::IsHeld(GetLastError())) {
            return false;
        }
        ShowLate(contact == nullptr ? m_session.OpenListed(m_what, id)
                                    : std::unique_ptr<CContact>(contact));
        return true;
    }

    // Null stands for a contact that cannot be shown.
    void ShowLate(const std::unique_ptr<CContact>& contact)
    {
        if (contact == nullptr) {
            return;
        }
        for (const CContactEmail& email : std::as_const(contact->GetEmails())) {
            m_lateAddresses.insert(email.GetAddress().RawAddress());
        }
        m_show(*contact);
    }

    // The walk leaves out whom it has shown itself, and does not know of those shown here.
    bool WasShownLate(CContact& contact) const
    {
        return !m_lateAddresses.empty() && contact.IsReadOnly() && !contact.GetEmails().IsEmpty() &&
               m_lateAddresses.contains(contact.GetEmails().GetHead().GetAddress().RawAddress());
    }

    void ReportPassedOver() const
    {
        for (const auto& [compression, count] : m_walk->GetPassedOver()) {
            m_session.Report().Refusal(m_what, "messages that are stored as " + compression +
                                                   " are not read: " + std::to_string(count));
        }
    }

    CSession& m_session;
    const CWalk& m_walk;
    const std::string& m_what;
    const std::function<void(CContact&)>& m_show;
    std::size_t m_faultCount = 0;
    std::set<std::string> m_lateAddresses;
};

} // namespace

bool Walk(CSession& session, const CWalk& walk, const std::string& what, const FILETIME* since,
          const std::function<void(CContact&)>& show)
{
    return CWholeWalk(session, walk, what, show).Run(since);
}

bool Walk(CSession& session, const std::string& what, const FILETIME* since,
          const std::function<void(CContact&)>& show)
{
    const CWalk walk(Try([&] { return session.Manager().GetEnumerator(); }));
    return Walk(session, walk, what, since, show);
}
