#pragma once

// The pattern by which a server starts and ends one of its libraries. A resource, used by one
// thread at a time.
template <class Server>
class CDependancy
{
protected:
    // Told once for each start that failed.
    virtual void ReportInitError(Server&) {}

public:
    // Bring the library up, and down; false on failure, with the reason in the last error.
    virtual bool DoInitWork(Server& server) = 0;
    virtual bool DoTermWork() = 0;

    CDependancy() = default;
    CDependancy(const CDependancy&) = delete;
    CDependancy& operator=(const CDependancy&) = delete;

    // Starts the library unless it is up. False: it stays down.
    bool Init(Server& server)
    {
        if (m_isUp) {
            return true;
        }
        m_isUp = DoInitWork(server);
        if (!m_isUp) {
            ReportInitError(server);
        }
        return m_isUp;
    }

    // Ends the library if it is up. False: it stays up.
    bool Term()
    {
        if (m_isUp && !DoTermWork()) {
            return false;
        }
        m_isUp = false;
        return true;
    }

protected:
    ~CDependancy() = default;

private:
    bool m_isUp = false;
};
