#include "imaging/receiver_registry.h"

#include <algorithm>

#include "module/framework/module_frame.h"
#include "params/value_text.h"

namespace cam {

void ReceiverRegistry::Add(const std::string& id) {
    const platform::LockGuard hold(m_lock);
    m_ids.insert(id);
    RebuildProcedures();
}

void ReceiverRegistry::Remove(const std::string& id) {
    const platform::LockGuard hold(m_lock);
    m_ids.erase(id);
    RebuildProcedures();
}

void ReceiverRegistry::RebuildProcedures() {
    m_relatedProcedures.clear();
    for (const std::string& id : m_ids) {
        m_relatedProcedures.push_back(ParseInt(id).value_or(0));
    }
    std::sort(m_relatedProcedures.begin(), m_relatedProcedures.end());
    const auto end = std::unique(m_relatedProcedures.begin(), m_relatedProcedures.end());
    m_relatedProcedures.erase(end, m_relatedProcedures.end());
}

void ReceiverRegistry::LookUpReceivers() {
    // The host may call back while it is asked, and that call want locks that stand ahead of this
    // one.
    std::set<std::string> ids;
    std::uint64_t lookUp = 0;
    {
        const platform::LockGuard hold(m_lock);
        ids = m_ids;
        lookUp = ++m_lookUps;
    }
    for (const std::string& id : ids) {
        ModuleNodeInfo info{};
        static_cast<void>(CQ_M_GetModuleNodeInfo(ParseInt(id).value_or(0), &info));
    }
    const platform::LockGuard hold(m_lock);
    if (lookUp > m_lastLookUp) {
        m_lastLookUp = lookUp;
        m_anyReceiver.store(!ids.empty(), std::memory_order_release);
    }
}

}  // namespace cam
