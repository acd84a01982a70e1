// The host procedures that want this camera's frames.
#pragma once

#include <atomic>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "platform/lock.h"

namespace cam {

// The host registers procedures by id text, then tells the framework, which has the module look up
// the receiving modules: frames are taken in only while at least one receiver is known.
class ReceiverRegistry {
  public:
    // The node-info lock. Taken after the GetImage lock and before the image-list lock.
    platform::RecursiveLock m_lock;

    void Add(const std::string& id) EXCLUDES(m_lock);
    void Remove(const std::string& id) EXCLUDES(m_lock);

    // Asks the framework anew for the record of every registered receiver; no lock is held
    // meanwhile.
    void LookUpReceivers() EXCLUDES(m_lock);

    // Read for each frame, so without the lock.
    [[nodiscard]] bool AnyReceiver() const { return m_anyReceiver.load(std::memory_order_acquire); }

    [[nodiscard]] const std::set<std::string>& Ids() const REQUIRES(m_lock) { return m_ids; }
    // The same as numbers, ascending.
    [[nodiscard]] const std::vector<std::int32_t>& RelatedProcedures() const REQUIRES(m_lock) {
        return m_relatedProcedures;
    }

  private:
    void RebuildProcedures() REQUIRES(m_lock);

    std::set<std::string> m_ids GUARDED_BY(m_lock);
    std::vector<std::int32_t> m_relatedProcedures GUARDED_BY(m_lock);
    // Of two look-ups at once the one that began later counts.
    std::uint64_t m_lookUps GUARDED_BY(m_lock) = 0;
    std::uint64_t m_lastLookUp GUARDED_BY(m_lock) = 0;
    std::atomic<bool> m_anyReceiver{false};
};

}  // namespace cam
