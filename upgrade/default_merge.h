// The three-way merge: carries changed factory defaults into a live record.
#pragma once

#include "props/fields.h"

namespace vx {

// One section of the live configuration.
struct Section {
    const char* operation; // as reports name it
    int line;              // as reports name it
    const char* update;    // what a report says when something changed
    const char* prefix;    // of the section's keys
    FieldGroups groups;    // in the order in which they are compared
    int (*get)(void* record);
    int (*put)(const void* record); // writes through to the file
};

// Reads the section's fields from both personality files (old first) and the live record, and
// moves each field whose default changed: forced ones always, conditional ones where the live
// value still equals the old default. Where the defaults agree nothing is touched.
//
// Each move prints a "Compare Diff" line; the record is written once, if anything moved. Returns
// the Get's failure, with nothing compared, else the result of the write, or 0 without one.
int mergeSection(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile);

int compareDefaultBridgeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile);
int compareDefaultCliConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile);

} // namespace vx
