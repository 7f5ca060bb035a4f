#include "core/log/pidnames.h"

#include <algorithm>

namespace vf {

bool PidNames::lookup(std::string_view pid, std::string& out) const {
    std::lock_guard lock(mutex_);
    if (const auto it = userDefined_.find(pid); it != userDefined_.end()) {
        out = it->second;
        return true;
    }
    out = identity_.latestAppOf(pid);
    return !out.empty();
}

QString PidNames::appName(const QString& pid) const {
    std::string name;
    return lookup(pid.toStdString(), name) ? QString::fromStdString(name) : QString();
}

bool PidNames::nameLiveRow(const RowFields& fields, uint64_t at, std::string& out) {
    std::lock_guard lock(mutex_);
    if (identity_.observe(fields, at) && !waiting_.empty()) nameWaitingRows();
    const std::string_view pid = fields[size_t(RowKey::Pid) - 1];
    if (const auto it = userDefined_.find(pid); it != userDefined_.end()) {
        out = it->second;
        return true;
    }
    out = identity_.appAt(pid, at);
    return !out.empty();
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

bool PidNames::wantsPackages() const {
    std::lock_guard lock(mutex_);
    return identity_.wantsPackages();
}

void PidNames::takeProcessTable(const ProcessTable& table, uint64_t at) {
    std::lock_guard lock(mutex_);
    identity_.takeProcessTable(table.entries, at);
    nameWaitingRows();
}

void PidNames::takePackages(PackageMap packages) {
    std::lock_guard lock(mutex_);
    identity_.setPackages(std::move(packages));
    nameWaitingRows();
}

// Each row is asked at its own position: a pid's rows before a start line
// and after it may belong to different processes.
void PidNames::nameWaitingRows() {
    for (auto it = waiting_.begin(); it != waiting_.end();) {
        RowList& rows = it->second.rows;
        const qsizetype before = rows.size();
        rows.removeIf([this](const RowPtr& row) {
            const std::string app = identity_.appAt(row->pid(), row->idx().value());
            if (app.empty()) return false;
            row->setApp(app);
            return true;
        });
        waitingRows_ -= before - rows.size();
        it = rows.isEmpty() ? waiting_.erase(it) : std::next(it);
    }
}

void PidNames::setUserName(const std::string& pid, const std::string& name) {
    std::lock_guard lock(mutex_);
    userDefined_[pid] = name;
    if (const auto it = waiting_.find(pid); it != waiting_.end()) {
        waitingRows_ -= it->second.rows.size();
        waiting_.erase(it);
    }
}

void PidNames::beginDevice(const std::string& deviceId) {
    std::lock_guard lock(mutex_);
    if (deviceId == deviceId_) return;
    deviceId_ = deviceId;
    identity_.clear();
    identity_.setPackages({});
}

void PidNames::clear() {
    std::lock_guard lock(mutex_);
    identity_.clear();
    waiting_.clear();
    waitingRows_ = 0;
}

}  // namespace vf
