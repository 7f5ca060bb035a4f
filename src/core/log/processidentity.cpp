#include "core/log/processidentity.h"

#include <algorithm>

namespace vf {

namespace {

// Where a life that follows the pid's known history begins: at the start of
// the log when nothing is known of the pid, after the death of the one
// before, else at `at` (an owner is known up to here).
uint64_t sinceFor(const std::vector<ProcessLife>& lives, uint64_t at) {
    if (lives.empty()) return 0;
    const auto& died = lives.back().diedAt;
    return died && *died < at ? *died + 1 : at;
}

}  // namespace

bool ProcessIdentityTable::observe(const Row& row) { return observe(row, row.idx().value()); }

bool ProcessIdentityTable::observe(const Row& row, uint64_t at) {
    return observeLine(LineFacts{row.type(), row.name(), row.text(), row.time(), row.pid(), row.uid()}, at);
}

bool ProcessIdentityTable::observe(const RowFields& fields, uint64_t at) {
    const auto field = [&fields](RowKey key) { return fields[size_t(key) - 1]; };
    return observeLine(LineFacts{field(RowKey::Type), field(RowKey::Name), field(RowKey::Text), field(RowKey::Time),
                                 field(RowKey::Pid), field(RowKey::Uid)},
                       at);
}

bool ProcessIdentityTable::observeLine(const LineFacts& line, uint64_t at) {
    bool changed = false;
    // Start and death lines are written at level I, a crash's "Process:" at E.
    if (line.type == "I" || line.type == "E") {
        if (const auto event = processEventOf(line.tag, line.text)) {
            switch (event->kind) {
                case ProcessEvent::Kind::Start: started(event->pid, event->process, event->uid, line.time, at); break;
                case ProcessEvent::Kind::Crash: named(event->pid, event->process, at); break;
                case ProcessEvent::Kind::Died: died(event->pid, event->process, at); break;
            }
            changed = true;
        }
    }
    if (line.uid.empty()) return changed;
    const auto pid = pidNumber(line.pid);
    const auto uid = parseUidColumn(line.uid);
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

const ProcessLife* ProcessIdentityTable::lifeAt(uint32_t pid, uint64_t at, uint64_t* until) const {
    uint64_t unused = 0;
    uint64_t& last = until != nullptr ? *until : unused;
    last = UINT64_MAX;
    const auto it = lives_.find(pid);
    if (it == lives_.end()) return nullptr;
    for (auto life = it->second.rbegin(); life != it->second.rend(); ++life) {
        if (life->since > at) {
            last = life->since - 1;
            continue;
        }
        if (life->diedAt && at > *life->diedAt) return nullptr;
        if (life->diedAt) last = std::min(last, *life->diedAt);
        return &*life;
    }
    return nullptr;
}

const std::vector<std::string>& ProcessIdentityTable::packagesOf(std::optional<uint32_t> uid) const {
    static const std::vector<std::string> kNone;
    if (!uid || !isAppUid(*uid)) return kNone;
    const auto& listed = packages_.packagesOf(*uid);
    return listed.empty() ? learnedPackages_.packagesOf(*uid) : listed;
}

std::string ProcessIdentityTable::appAt(uint32_t pid, uint64_t at) const {
    const ProcessLife* life = lifeAt(pid, at);
    return life == nullptr ? std::string() : appOf(*life);
}

std::string ProcessIdentityTable::latestAppOf(std::string_view pid) const {
    const auto number = pidNumber(pid);
    const auto it = number ? lives_.find(*number) : lives_.end();
    return it == lives_.end() || it->second.empty() ? std::string() : appOf(it->second.back());
}

std::string ProcessIdentityTable::appOf(const ProcessLife& life) const {
    const auto& packages = packagesOf(life.uid);
    if (life.nameSource >= IdentitySource::DeathOrCrash || packages.empty())
        return appLabel(life.process, life.uid);
    // The process table's name is the more precise one (it tells a
    // ":remote" process from its app), but it may be stale: it only stands
    // when it is a process of one of the uid's packages.
    const std::string package = life.process.substr(0, life.process.find(':'));
    if (std::find(packages.begin(), packages.end(), package) != packages.end())
        return appLabel(life.process, life.uid);
    std::string names;
    for (const std::string& name : packages) names.append(names.empty() ? "" : ",").append(name);
    return appLabel(names, life.uid);
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

void FileChunkNotes::observe(const Row& row) {
    RowFields fields;
    for (int k = 0; k < kRowFieldCount; ++k) fields[size_t(k)] = row.view(RowKey(k + 1));
    observe(fields);
}

void FileChunkNotes::observe(const RowFields& fields) {
    const auto field = [&fields](RowKey key) { return fields[size_t(key) - 1]; };
    const uint64_t at = pids_.size();
    const auto pid = pidNumber(field(RowKey::Pid));
    pids_.push_back(field(RowKey::App).empty() ? pid.value_or(0) : 0);
    const std::string_view type = field(RowKey::Type);
    // Start and death lines are written at level I, a crash's "Process:" at E.
    if (type == "I" || type == "E") {
        if (const auto event = processEventOf(field(RowKey::Name), field(RowKey::Text))) {
            using Kind = Event::Kind;
            const Kind kind = event->kind == ProcessEvent::Kind::Start   ? Kind::Start
                              : event->kind == ProcessEvent::Kind::Crash ? Kind::Crash
                                                                         : Kind::Died;
            events_.push_back(Event{kind, event->pid, event->uid, std::string(event->process),
                                    kind == Kind::Start ? std::string(field(RowKey::Time)) : std::string(), at});
            lastUid_.erase(event->pid);
        }
    }
    const std::string_view uidText = field(RowKey::Uid);
    if (uidText.empty() || !pid) return;
    const auto uid = parseUidColumn(uidText);
    if (!uid) return;
    const auto [last, added] = lastUid_.try_emplace(*pid, *uid);
    if (!added && last->second == *uid) return;
    last->second = *uid;
    events_.push_back(Event{Event::Kind::Uid, *pid, uid, {}, {}, at});
}

// Positions are the rows' ordinals in the file, so that naming them needs
// neither their idx nor their pid read again from memory long gone cold.
void FileRowNamer::take(FileChunkNotes notes) {
    uint64_t first = 0;
    for (const std::vector<uint32_t>& pids : pids_) first += pids.size();
    using Kind = FileChunkNotes::Event::Kind;
    for (const FileChunkNotes::Event& event : notes.events_) {
        const uint64_t at = first + event.at;
        switch (event.kind) {
            case Kind::Start: table_.started(event.pid, event.process, event.uid, event.time, at); break;
            case Kind::Crash: table_.named(event.pid, event.process, at); break;
            case Kind::Died: table_.died(event.pid, event.process, at); break;
            case Kind::Uid: table_.uidSeen(event.pid, *event.uid, at); break;
        }
    }
    pids_.push_back(std::move(notes.pids_));
}

void FileRowNamer::nameRows(const std::vector<RowList>& stretches) {
    if (table_.empty()) return;
    // Rows of one life come close together: a cache of the answer for a
    // pid and the positions it holds for spares most lookups.
    struct Answer {
        uint32_t pid = 0;
        uint64_t until = 0;
        std::string app;
        ListedApp listed;
    };
    std::vector<Answer> answers(1024);
    uint64_t at = 0;
    for (size_t s = 0; s < std::min(stretches.size(), pids_.size()); ++s) {
        const RowList& rows = stretches[s];
        const std::vector<uint32_t>& pids = pids_[s];
        for (size_t i = 0; i < std::min(size_t(rows.size()), pids.size()); ++i, ++at) {
            const uint32_t pid = pids[i];
            if (pid == 0) continue;
            Answer& answer = answers[(pid * 2654435761u) >> 22];
            if (answer.pid != pid || at > answer.until) {
                uint64_t until = 0;
                const ProcessLife* life = table_.lifeAt(pid, at, &until);
                answer = Answer{pid, until, life != nullptr ? table_.appAt(pid, at) : std::string(), {}};
            }
            if (answer.app.empty()) continue;
            Row& row = *rows[qsizetype(i)];
            if (answer.listed.number == 0) answer.listed = row.listApp(answer.app);
            row.setListedApp(answer.listed, answer.app);
        }
    }
}

}  // namespace vf
