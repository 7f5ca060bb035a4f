#include "core/log/pidnames.h"

#include <algorithm>

namespace vf {

bool PidNames::lookup(std::string_view pid, std::string& out) const {
    std::lock_guard lock(mutex_);
    const auto it = pidMap_.find(pid);
    if (it == pidMap_.end()) return false;
    out = it->second;
    return true;
}

QString PidNames::appName(const QString& pid) const {
    std::string name;
    return lookup(pid.toStdString(), name) ? QString::fromStdString(name) : QString();
}

bool PidNames::holdUnnamed(const RowPtr& row, qint64 nowMs) {
    std::lock_guard lock(mutex_);
    auto it = waiting_.find(row->pid());
    if (it == waiting_.end()) it = waiting_.emplace(std::string(row->pid()), Waiting{nowMs, {}}).first;
    it->second.rows.append(row);
    ++waitingRows_;
    const bool wanted = it->second.rows.size() > 1;
    boundWaitingRows();
    return wanted;
}

void PidNames::boundWaitingRows() {
    while (waitingRows_ > kMaxWaitingRows && !waiting_.empty()) {
        const auto oldest = std::min_element(waiting_.begin(), waiting_.end(), [](const auto& a, const auto& b) {
            return a.second.firstSeenMs < b.second.firstSeenMs;
        });
        waitingRows_ -= oldest->second.rows.size();
        waiting_.erase(oldest);
    }
}

qsizetype PidNames::waitingRows() const {
    std::lock_guard lock(mutex_);
    return waitingRows_;
}

void PidNames::beginLookup(qint64 nowMs) {
    std::lock_guard lock(mutex_);
    lookupTimeMs_ = nowMs;
}

void PidNames::endLookup(const ProcessTable& table) {
    std::lock_guard lock(mutex_);
    for (const auto& [pid, name] : table.entries) {
        if (userDefined_.contains(pid)) continue;
        pidMap_.insert_or_assign(pid, name);
        nameWaitingRows(pid, name);
    }
    if (table.abort == PsAbort::None) {
        std::erase_if(waiting_, [this](const auto& entry) {
            if (entry.second.firstSeenMs >= lookupTimeMs_) return false;
            waitingRows_ -= entry.second.rows.size();
            return true;
        });
    }
}

void PidNames::nameWaitingRows(const std::string& pid, const std::string& name) {
    const auto it = waiting_.find(pid);
    if (it == waiting_.end()) return;
    for (const RowPtr& row : it->second.rows) row->setApp(name);
    waitingRows_ -= it->second.rows.size();
    waiting_.erase(it);
}

void PidNames::setUserName(const std::string& pid, const std::string& name) {
    std::lock_guard lock(mutex_);
    pidMap_[pid] = name;
    userDefined_[pid] = name;
    if (const auto it = waiting_.find(pid); it != waiting_.end()) {
        waitingRows_ -= it->second.rows.size();
        waiting_.erase(it);
    }
}

void PidNames::clear() {
    std::lock_guard lock(mutex_);
    pidMap_ = userDefined_;
    waiting_.clear();
    waitingRows_ = 0;
    lookupTimeMs_ = 0;
}

}  // namespace vf
