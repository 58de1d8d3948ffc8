// What a PropertiesHandle points to.
#pragma once

#include "props/property_parser.h"

struct PropertiesHandleRecord {
    vx::PropertyParser* parser; // owned
};
