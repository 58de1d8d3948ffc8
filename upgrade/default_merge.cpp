#include "upgrade/default_merge.h"

#include "upgrade/report.h"

#include <cstddef>
#include <cstdio>

namespace vx {

namespace {

// Room for any section's record.
union alignas(std::max_align_t) SectionRecord {
    BridgeConfig bridge;
    CliConfig cli;
};

bool mergeField(const Field& field, const void* oldDefault, const void* newDefault, void* live) {
    if (fieldsEqual(field, newDefault, oldDefault)) {
        return false;
    }
    if (field.rule == Rule::conditional && !fieldsEqual(field, live, oldDefault)) {
        return false; // the user's own value
    }
    copyField(field, live, newDefault);
    std::printf("Compare Diff: field=%s, update=%d\n", field.key, 1);
    return true;
}

} // namespace

int mergeSection(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile) {
    SectionRecord newDefaults{};
    SectionRecord oldDefaults{};
    SectionRecord live{};
    loadFields(newFile, section.prefix, section.groups, &newDefaults);
    loadFields(oldFile, section.prefix, section.groups, &oldDefaults);
    if (int const result = section.get(&live); result != 0) {
        return result;
    }
    bool changed = false;
    for (FieldGroup const group : section.groups) {
        for (const Field& field : group) {
            changed = mergeField(field, &oldDefaults, &newDefaults, &live) || changed;
        }
    }
    if (!changed) {
        return 0;
    }
    report(section.operation, section.line, "%s", section.update);
    return section.put(&live);
}

} // namespace vx
