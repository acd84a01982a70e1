// The host procedures that want this camera's frames.
#pragma once

#include <atomic>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "base/lock.h"

namespace cam {

// The host registers procedures by id text, then notifies the framework, which makes the module
// look up the receiving modules. Frames are accepted only while at least one receiver is known.
class ReceiverRegistry {
  public:
    void Add(const std::string& id) EXCLUDES(m_lock);
    void Remove(const std::string& id) EXCLUDES(m_lock);

    // Queries the framework again for the record of every registered receiver, with no lock held.
    void LookUpReceivers() EXCLUDES(m_lock);

    // Read for each frame, so without the lock.
    [[nodiscard]] bool AnyReceiver() const { return m_anyReceiver.load(std::memory_order_acquire); }

    // As registered, sorted as texts.
    [[nodiscard]] std::set<std::string> Ids() const EXCLUDES(m_lock);
    // The same as numbers, ascending; `procedures` keeps its capacity.
    void CopyProcedures(std::vector<std::int32_t>& procedures) const EXCLUDES(m_lock);
    [[nodiscard]] bool AnyProcedure() const EXCLUDES(m_lock);
    [[nodiscard]] bool IsRelated(std::int32_t procedure) const EXCLUDES(m_lock);

  private:
    void RebuildProcedures() REQUIRES(m_lock);

    mutable Lock m_lock{LockRank::NodeInfo, "node-info"};
    std::set<std::string> m_ids GUARDED_BY(m_lock);
    std::vector<std::int32_t> m_relatedProcedures GUARDED_BY(m_lock);
    // Of two concurrent look-ups the one that began later counts.
    std::uint64_t m_lookUps GUARDED_BY(m_lock) = 0;
    std::uint64_t m_lastLookUp GUARDED_BY(m_lock) = 0;
    std::atomic<bool> m_anyReceiver{false};
};

}  // namespace cam
