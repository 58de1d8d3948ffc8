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
    PortParams port;
    HostGroupConfig hostGroup;
};

} // namespace

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

bool mergeFields(FieldGroups groups, const void* oldDefaults, const void* newDefaults, void* live) {
    bool changed = false;
    for (FieldGroup const group : groups) {
        for (const Field& field : group) {
            changed = mergeField(field, oldDefaults, newDefaults, live) || changed;
        }
    }
    return changed;
}

int mergeSection(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile,
                 uint32_t number) {
    SectionRecord newDefaults{};
    SectionRecord oldDefaults{};
    SectionRecord live{};
    NumberedPrefix const numbered(section.prefix, static_cast<int>(number));
    const char* const prefix = section.isNumbered ? numbered.text() : section.prefix;
    loadFields(newFile, prefix, section.groups, &newDefaults);
    loadFields(oldFile, prefix, section.groups, &oldDefaults);
    if (int const result = section.record.get(&live, number); result != 0) {
        return result;
    }
    if (!mergeFields(section.groups, &oldDefaults, &newDefaults, &live)) {
        return 0;
    }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    report(section.operation, section.line, section.update, number);
#pragma GCC diagnostic pop
    return section.record.put(&live, number);
}

} // namespace vx
