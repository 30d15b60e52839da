#pragma once

inline namespace contactmgr_internal
{

// A base for the class by which a server starts and ends one of its libraries. A resource; one
// thread at a time uses it.
template <class Server>
class CDependancy
{
protected:
    // Called once after each failed DoInitWork.
    virtual void ReportInitError(Server&) {}

public:
    // Start and end the library. False with the last error set.
    virtual bool DoInitWork(Server& server) = 0;
    virtual bool DoTermWork() = 0;

    CDependancy() = default;
    CDependancy(const CDependancy&) = delete;
    CDependancy& operator=(const CDependancy&) = delete;

    // Starts the library unless it is running. After a failure it is not running.
    bool Init(Server& server)
    {
        if (m_isRunning) {
            return true;
        }
        m_isRunning = DoInitWork(server);
        if (!m_isRunning) {
            ReportInitError(server);
        }
        return m_isRunning;
    }

    // Ends the library if it is running. After a failure it is still running.
    bool Term()
    {
        if (m_isRunning && !DoTermWork()) {
            return false;
        }
        m_isRunning = false;
        return true;
    }

protected:
    ~CDependancy() = default;

private:
    bool m_isRunning = false;
};

} // namespace contactmgr_internal
