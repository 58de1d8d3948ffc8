// The three-way merge: carries changed factory defaults into a live record.
#pragma once

#include "settings/fields.h"
#include "store/record_access.h"

namespace vx {

// One section of the live configuration, or one kind of numbered sections.
struct Section {
    const char* operation; // as reports name it
    int line;              // as reports name it
    const char* update;    // what a report says when something changed; %d is the number
    const char* prefix;    // of the section's keys
    bool isNumbered;       // the prefix is followed by the number and a point
    FieldGroups groups;    // in the order in which they are compared
    const RecordAccess& record;
};

// Reads the section's fields from both personality files (old first) and the live record, and
// moves each field whose default changed: forced ones always, conditional ones where the live
// value still equals the old default. Where the defaults agree nothing is touched.
//
// Each move prints a "Compare Diff" line; the record is written once, if anything moved. Returns
// the Get's failure, with nothing compared, else the result of the write, or 0 without one.
int mergeSection(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile,
                 uint32_t number = 0);

// The rule for one field; true when it moved, which prints its line.
bool mergeField(const Field& field, const void* oldDefault, const void* newDefault, void* live);

// The rule for the fields of several groups; true when any moved.
bool mergeFields(FieldGroups groups, const void* oldDefaults, const void* newDefaults, void* live);

} // namespace vx
