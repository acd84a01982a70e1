#include "imaging/receiver_registry.h"

#include <algorithm>

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
    const platform::LockGuard hold(m_lock);
    // The framework may call back and change the registrations while it is asked.
    const std::set<std::string> ids = m_ids;
    std::map<std::int32_t, ModuleNodeInfo> receivers;
    for (const std::string& id : ids) {
        const std::int32_t moduleId = ParseInt(id).value_or(0);
        ModuleNodeInfo info{};
        static_cast<void>(CQ_M_GetModuleNodeInfo(moduleId, &info));
        receivers[moduleId] = info;
    }
    m_receivers.swap(receivers);
    m_receiverCount.store(m_receivers.size(), std::memory_order_release);
}

}  // namespace cam
