// "ipmitool ... shell" as a child process that answers one line at a time:
// the session of VALDRN_LAN_SESSION=run (bmc/transport.h).
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

class IpmitoolShell {
public:
    enum Exchanged {
        EXCHANGE_ANSWERED,   // the marker came: psOut and psErr hold what ipmitool printed for the line
        EXCHANGE_TIMED_OUT,  // no marker within the time: the shell is stuck
        EXCHANGE_GONE,       // ipmitool ended (or its input closed) before the marker
    };

    IpmitoolShell() = default;
    ~IpmitoolShell();
    IpmitoolShell(const IpmitoolShell&) = delete;
    IpmitoolShell& operator=(const IpmitoolShell&) = delete;

    // Starts the command (its first word looked up on PATH) with the
    // environment, in a process group of its own; it is killed when VALDRN
    // dies. False when it cannot be started.
    bool Start(const std::vector<std::string>& asCommand, const std::vector<std::string>& asEnvironment);
    bool Running() const { return m_pid > 0; }
    // Sends the line, then an echo of a new marker, and reads standard
    // output up to the marker (prompt and echoed lines dropped), then what
    // standard error holds.
    Exchanged Exchange(const std::string& sLine, long lTimeoutMs, std::string* psOut, std::string* psErr);
    // Tells it to exit (ipmitool closes its RMCP+ session), kills it if it
    // has not within 3 s; its wait status.
    int Close();
    // Kills its process group at once; its wait status.
    int Kill();
    // Waits for its end; its wait status.
    int Reap();

private:
    bool SendLine(const std::string& sLine);
    static bool ReadAvailable(int iFd, std::string* psText);

    pid_t m_pid = -1;
    int m_iInput = -1;
    int m_iOutput = -1;
    int m_iErrors = -1;
    unsigned long m_uMarkers = 0;
};
