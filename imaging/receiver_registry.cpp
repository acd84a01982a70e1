#include "imaging/receiver_registry.h"

#include <algorithm>

#include "base/text.h"
#include "module/framework/module_frame.h"

namespace cam {

void ReceiverRegistry::Add(const std::string& id) {
    const LockGuard hold(m_lock);
    m_ids.insert(id);
    RebuildProcedures();
}

void ReceiverRegistry::Remove(const std::string& id) {
    const LockGuard hold(m_lock);
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

std::set<std::string> ReceiverRegistry::Ids() const {
    const LockGuard hold(m_lock);
    return m_ids;
}

void ReceiverRegistry::CopyProcedures(std::vector<std::int32_t>& procedures) const {
    const LockGuard hold(m_lock);
    procedures = m_relatedProcedures;
}

bool ReceiverRegistry::AnyProcedure() const {
    const LockGuard hold(m_lock);
    return !m_relatedProcedures.empty();
}

bool ReceiverRegistry::IsRelated(std::int32_t procedure) const {
    const LockGuard hold(m_lock);
    return std::binary_search(m_relatedProcedures.begin(), m_relatedProcedures.end(), procedure);
}

void ReceiverRegistry::LookUpReceivers() {
    // The host may call back while it is asked, and that call may need locks that come before this
    // one.
    std::set<std::string> ids;
    std::uint64_t lookUp = 0;
    {
        const LockGuard hold(m_lock);
        ids = m_ids;
        lookUp = ++m_lookUps;
    }
    for (const std::string& id : ids) {
        ModuleNodeInfo info{};
        static_cast<void>(CQ_M_GetModuleNodeInfo(ParseInt(id).value_or(0), &info));
    }
    const LockGuard hold(m_lock);
    if (lookUp > m_lastLookUp) {
        m_lastLookUp = lookUp;
        m_anyReceiver.store(!ids.empty(), std::memory_order_release);
    }
}

}  // namespace cam
