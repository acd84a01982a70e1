// What the host of a grabbed or watched camera hears from the module.
#pragma once

#include <cstdint>
#include <string_view>

#include "host/connection_log.h"
#include "host/module_session.h"
#include "host/procedures.h"
#include "host/statistics.h"

namespace host {

// Keeps the journal of frames and of the connection, and runs the host's procedures.
class FrameObserver : public ModuleObserver {
  public:
    explicit FrameObserver(std::uint64_t procedureCount) : m_procedures(procedureCount) {}

    void OnFrameArrived(std::uint32_t frameNumber) override {
        m_journal.Arrived(frameNumber, Clock::now());
    }
    void OnNotice(std::uint32_t code, std::string_view text) override {
        m_connection.OnNotice(code, text);
    }
    void OnPublished(std::string_view key) override { m_connection.OnPublished(key); }
    bool OnTryRunProcedure(std::int32_t procedure, std::uint32_t frameNumber) override {
        return m_procedures.TryRun(procedure, frameNumber);
    }

    [[nodiscard]] FrameJournal& Journal() { return m_journal; }
    [[nodiscard]] ConnectionLog& Connection() { return m_connection; }
    [[nodiscard]] Procedures& HostProcedures() { return m_procedures; }

  private:
    FrameJournal m_journal;
    ConnectionLog m_connection;
    Procedures m_procedures;
};

// Opens the chosen camera so that its losses are noticed, and a camera that was opened by address
// comes back after one.
void OpenFollowed(ModuleSession& session, FrameObserver& observer, const Options& options);

}  // namespace host
