#include "core/log/processidentity.h"

#include <charconv>

namespace vf {

namespace {

std::optional<uint32_t> pidNumber(std::string_view pid) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(pid.data(), pid.data() + pid.size(), value);
    if (error != std::errc() || end != pid.data() + pid.size() || value == 0) return std::nullopt;
    return value;
}

// Where a life that follows the pid's known history begins: at the start of
// the log when nothing is known of the pid, after the death of the one
// before, else at `at` (an owner is known up to here).
uint64_t sinceFor(const std::vector<ProcessLife>& lives, uint64_t at) {
    if (lives.empty()) return 0;
    const auto& died = lives.back().diedAt;
    return died && *died < at ? *died + 1 : at;
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text.append(text.empty() ? "" : ",").append(name);
    return text;
}

}  // namespace

bool ProcessIdentityTable::observe(const Row& row) {
    const uint64_t at = row.idx();
    bool changed = false;
    const std::string_view type = row.type();
    // Start and death lines are written at level I, a crash's "Process:" at E.
    if (type == "I" || type == "E") {
        if (const auto event = processEventOf(row.name(), row.text())) {
            switch (event->kind) {
                case ProcessEvent::Kind::Start: started(event->pid, event->process, event->uid, row.time(), at); break;
                case ProcessEvent::Kind::Crash: named(event->pid, event->process, at); break;
                case ProcessEvent::Kind::Died: died(event->pid, event->process, at); break;
            }
            changed = true;
        }
    }
    const std::string_view uidText = row.uid();
    if (uidText.empty()) return changed;
    const auto pid = pidNumber(row.pid());
    const auto uid = parseUidColumn(uidText);
    if (pid && uid) changed = uidSeen(*pid, *uid, at) || changed;
    return changed;
}

ProcessLife& ProcessIdentityTable::newLife(Lives& lives, uint64_t at) {
    const uint64_t since = sinceFor(lives, at);
    if (lives.size() >= kMaxLivesPerPid) lives.erase(lives.begin());
    ProcessLife& life = lives.emplace_back();
    life.since = since;
    return life;
}

void ProcessIdentityTable::started(uint32_t pid, std::string_view process, std::optional<uint32_t> uid,
                                   std::string_view time, uint64_t at) {
    Lives& lives = lives_[pid];
    ProcessLife* life = lives.empty() ? nullptr : &lives.back();
    // The same process when nothing said otherwise: rows it wrote before its
    // start line was written, or the same start announced twice.
    const bool same = life != nullptr && !life->diedAt && (life->process.empty() || life->process == process) &&
                      (!life->uid || !uid || *life->uid == *uid);
    if (!same) life = &newLife(lives, at);
    life->process = process;
    life->nameSource = IdentitySource::Start;
    if (uid) life->uid = uid;
    life->startTime = time;
    if (uid) {
        learnPackage(*uid, process);
        noteUid(*uid);
    }
}

void ProcessIdentityTable::named(uint32_t pid, std::string_view process, uint64_t at) {
    Lives& lives = lives_[pid];
    if (lives.empty() || lives.back().diedAt) newLife(lives, at);
    ProcessLife& life = lives.back();
    if (life.nameSource >= IdentitySource::DeathOrCrash) return;
    life.process = process;
    life.nameSource = IdentitySource::DeathOrCrash;
}

void ProcessIdentityTable::died(uint32_t pid, std::string_view process, uint64_t at) {
    named(pid, process, at);
    lives_[pid].back().diedAt = at;
}

bool ProcessIdentityTable::uidSeen(uint32_t pid, uint32_t uid, uint64_t at) {
    Lives& lives = lives_[pid];
    if (!lives.empty() && !lives.back().diedAt) {
        ProcessLife& life = lives.back();
        if (life.uid == uid) return false;
        if (!life.uid) {
            life.uid = uid;
            noteUid(uid);
            return true;
        }
    }
    // Nothing known yet, a row after a death, or another uid: a new process.
    newLife(lives, at).uid = uid;
    noteUid(uid);
    return true;
}

void ProcessIdentityTable::takeProcessTable(const std::vector<std::pair<std::string, std::string>>& entries,
                                            uint64_t at) {
    for (const auto& [pidText, name] : entries) {
        const auto pid = pidNumber(pidText);
        if (!pid) continue;
        Lives& lives = lives_[*pid];
        if (lives.empty() || lives.back().diedAt) newLife(lives, at);
        ProcessLife& life = lives.back();
        if (life.nameSource > IdentitySource::ProcessTable) continue;
        life.process = name;
        life.nameSource = IdentitySource::ProcessTable;
    }
}

void ProcessIdentityTable::setPackages(PackageMap packages) {
    packages_ = std::move(packages);
    wantsPackages_ = false;
}

void ProcessIdentityTable::learnPackage(uint32_t uid, std::string_view process) {
    if (isAppUid(uid)) learnedPackages_.add(uid, process.substr(0, process.find(':')));
}

void ProcessIdentityTable::noteUid(uint32_t uid) {
    if (isAppUid(uid) && packages_.packagesOf(uid).empty()) wantsPackages_ = true;
}

const ProcessLife* ProcessIdentityTable::lifeAt(uint32_t pid, uint64_t at) const {
    const auto it = lives_.find(pid);
    if (it == lives_.end()) return nullptr;
    for (auto life = it->second.rbegin(); life != it->second.rend(); ++life) {
        if (life->since > at) continue;
        return life->diedAt && at > *life->diedAt ? nullptr : &*life;
    }
    return nullptr;
}

std::string ProcessIdentityTable::packagesLabel(uint32_t uid) const {
    if (!isAppUid(uid)) return {};
    const auto& listed = packages_.packagesOf(uid);
    return joined(listed.empty() ? learnedPackages_.packagesOf(uid) : listed);
}

std::string ProcessIdentityTable::appAt(uint32_t pid, uint64_t at) const {
    const ProcessLife* life = lifeAt(pid, at);
    if (life == nullptr) return {};
    if (life->nameSource >= IdentitySource::DeathOrCrash) return appLabel(life->process, life->uid);
    // The process table's name is the more precise one (it tells a
    // ":remote" process from its app), but it may be stale: it only stands
    // when it is one of the uid's packages.
    const std::string packages = life->uid ? packagesLabel(*life->uid) : std::string();
    if (!packages.empty()) {
        const std::string_view package = std::string_view(life->process).substr(0, life->process.find(':'));
        const bool fits = !package.empty() && ("," + packages + ",").find("," + std::string(package) + ",") !=
                                                  std::string::npos;
        return appLabel(fits ? life->process : packages, life->uid);
    }
    return appLabel(life->process, life->uid);
}

std::string ProcessIdentityTable::appAt(std::string_view pid, uint64_t at) const {
    const auto number = pidNumber(pid);
    return number ? appAt(*number, at) : std::string();
}

bool ProcessIdentityTable::isGone(uint32_t pid) const {
    const auto it = lives_.find(pid);
    return it != lives_.end() && !it->second.empty() && it->second.back().diedAt.has_value();
}

void ProcessIdentityTable::forgetBefore(uint64_t at) {
    for (auto it = lives_.begin(); it != lives_.end();) {
        Lives& lives = it->second;
        size_t drop = 0;
        while (drop + 1 < lives.size() && lives[drop + 1].since <= at) ++drop;
        lives.erase(lives.begin(), lives.begin() + std::ptrdiff_t(drop));
        const bool over = lives.empty() || (lives.back().diedAt && *lives.back().diedAt < at);
        it = over ? lives_.erase(it) : std::next(it);
    }
}

void ProcessIdentityTable::clear() {
    lives_.clear();
    learnedPackages_ = PackageMap();
    wantsPackages_ = false;
}

void nameRowsFromLog(const RowList& rows) {
    ProcessIdentityTable table;
    for (const RowPtr& row : rows) table.observe(*row);
    if (table.empty()) return;
    // Rows of one life share one label.
    std::unordered_map<const ProcessLife*, std::string> labels;
    for (const RowPtr& row : rows) {
        if (!row->app().empty()) continue;
        const auto pid = pidNumber(row->pid());
        const ProcessLife* life = pid ? table.lifeAt(*pid, row->idx()) : nullptr;
        if (life == nullptr) continue;
        auto label = labels.find(life);
        if (label == labels.end()) label = labels.emplace(life, table.appAt(*pid, row->idx())).first;
        if (!label->second.empty()) row->setUnsharedApp(label->second);
    }
}

}  // namespace vf
