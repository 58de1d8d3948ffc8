#include "tests/reliability/medium.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace {

// What of the data that was not synced is on the medium.
struct Remains {
    const char* name;
    bool truncates;
    bool extends; // the length is there, and zeros where data is not
    bool (*hasPage)(std::size_t page, std::size_t last);
};
constexpr Remains remains[] = {
    // clang-format off
    {"all data",        true,  true,  [](std::size_t, std::size_t) { return true; }},
    {"no data",         false, false, [](std::size_t, std::size_t) { return false; }},
    {"no length",       true,  false, [](std::size_t, std::size_t) { return false; }},
    {"only the length", true,  true,  [](std::size_t, std::size_t) { return false; }},
    {"the first page",  true,  true,  [](std::size_t page, std::size_t) { return page == 0; }},
    {"the last page",   true,  true,  [](std::size_t page, std::size_t last) { return page == last; }},
    {"every other page", true, true,  [](std::size_t page, std::size_t) { return page % 2 != 0; }},
    // clang-format on
};
constexpr const Remains& allData = remains[0];

void write(Bytes& bytes, const Change& change, const Remains& remain) {
    constexpr std::size_t pageSize = 4096;
    auto const begin = static_cast<std::size_t>(change.offset);
    std::size_t const end = begin + change.data.size();
    if (remain.extends) {
        bytes.resize(std::max(bytes.size(), end));
    }
    for (std::size_t at = begin; at < end;) {
        std::size_t const pageEnd = std::min(end, (at / pageSize + 1) * pageSize);
        if (remain.hasPage(at / pageSize - begin / pageSize,
                           (end - 1) / pageSize - begin / pageSize)) {
            std::copy_n(change.data.begin() + static_cast<std::ptrdiff_t>(at - begin), pageEnd - at,
                        bytes.begin() + static_cast<std::ptrdiff_t>(at));
        }
        at = pageEnd;
    }
}

struct File {
    const Bytes* durable;
    std::vector<Change> pending;

    [[nodiscard]] const Bytes* after(const Remains& remain) const {
        if (pending.empty()) {
            return durable;
        }
        Bytes bytes = *durable;
        for (const Change& change : pending) {
            if (change.kind == Operation::write) {
                write(bytes, change, remain);
            } else if (remain.truncates) {
                bytes.clear();
            }
        }
        return kept(bytes);
    }
};

using Names = std::map<std::string, std::size_t>; // of files, by number

struct NameChange {
    Change change;
    std::size_t file; // that is created

    // A move whose beginning was lost is lost too.
    void applyTo(Names& names, bool isHalf = false) const {
        if (change.kind == Operation::create) {
            names[change.path] = file;
        } else if (change.kind == Operation::unlink) {
            names.erase(change.path);
        } else if (auto const from = names.find(change.from); from != names.end()) {
            names[change.path] = from->second;
            if (!isHalf) {
                names.erase(change.from);
            }
        }
    }
};

class Medium {
  public:
    explicit Medium(const Volumes& start) {
        for (auto const& [path, bytes] : start) {
            durableNames_[path] = files_.size();
            files_.push_back({bytes, {}});
        }
        names_ = durableNames_;
    }

    void make(const Change& change) {
        bool const isNew = change.kind == Operation::create && !names_.contains(change.path);
        if (isNew) {
            files_.push_back({kept({}), {}});
        } else if (change.kind == Operation::create || change.kind == Operation::write) {
            files_.at(names_.at(change.path)).pending.push_back(change);
            return;
        }
        changes_.push_back({change, files_.size() - 1});
        changes_.back().applyTo(names_);
    }

    void sync(const std::string& path) {
        if (auto const found = names_.find(path); found != names_.end()) {
            File& file = files_[found->second];
            file = {file.after(allData), {}};
        }
        std::erase_if(changes_, [&](const NameChange& one) {
            bool const isHere = std::filesystem::path(one.change.path).parent_path() == path;
            if (isHere) {
                one.applyTo(durableNames_);
            }
            return isHere;
        });
    }

    // The states that are possible now and were not before.
    void collect(const std::string& where, std::vector<CutState>& states) {
        auto const namings = possibleNames();
        for (std::size_t only = 0; only <= files_.size(); ++only) { // of one file, or of all
            if (only < files_.size() && files_[only].pending.empty()) {
                continue;
            }
            for (const Remains& remain : remains) {
                std::vector<const Bytes*> contents;
                for (std::size_t i = 0; i < files_.size(); ++i) {
                    bool const isMeant = only == files_.size() || only == i;
                    contents.push_back(files_[i].after(isMeant ? remain : allData));
                }
                for (auto const& [lost, names] : namings) {
                    add(where + ", with " + remain.name + lost, names, contents, states);
                }
            }
        }
    }

  private:
    [[nodiscard]] std::vector<std::pair<std::string, Names>> possibleNames() const {
        std::vector<std::pair<std::string, Names>> states = {{"", names_}};
        if (!changes_.empty()) { // a file system may make the new name before it drops the old one
            Names names = durableNames_;
            for (const NameChange& change : changes_) {
                change.applyTo(names, &change == &changes_.back());
            }
            states.emplace_back(", within a rename", names);
        }
        for (std::size_t lost = 0; lost < changes_.size(); ++lost) {
            for (bool const isAlone : {true, false}) {
                Names names = durableNames_;
                for (std::size_t i = 0; i < changes_.size(); ++i) {
                    if (i < lost || (isAlone && i > lost)) {
                        changes_[i].applyTo(names);
                    }
                }
                states.emplace_back(" without the name " + changes_[lost].change.path +
                                        (isAlone ? "" : " and later ones"),
                                    names);
            }
        }
        return states;
    }

    void add(const std::string& where, const Names& names,
             const std::vector<const Bytes*>& contents, std::vector<CutState>& states) {
        Volumes volumes;
        for (auto const& [path, file] : names) {
            volumes[path] = contents[file];
        }
        if (seen_.insert(volumes).second) {
            states.push_back({where, std::move(volumes)});
        }
    }

    std::vector<File> files_;
    Names names_; // as the running program sees them
    Names durableNames_;
    std::vector<NameChange> changes_; // of names, not synced
    std::set<Volumes> seen_;
};

} // namespace

std::vector<CutState> cutStates(const Volumes& start, const Trace& trace) {
    std::vector<CutState> states;
    Medium medium(start);
    for (std::size_t i = 0; i < trace.size(); ++i) {
        const Change& change = trace[i];
        if (change.kind != Operation::sync) {
            medium.make(change);
            medium.collect("change " + std::to_string(i + 1) + " (" + change.path + ")", states);
        }
        if (change.kind == Operation::sync || change.isSynced) {
            medium.sync(change.path);
        }
    }
    return states;
}
