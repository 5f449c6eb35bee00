// The preset schema: one row per value a preset can hold, naming its JSON path
// and where it lives in EffectSettings. Paths follow the setting groups of the
// front end and the field names of its records; "[]" stands for a table index.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "EffectSettings.h"

namespace lxfx {

using FieldRef = std::variant<bool*, uint32_t*, float*, double*, std::string*>;

struct PresetField {
    const char* path;
    size_t tableSize;  // entries behind "[]"; 0 for a single value
    FieldRef (*locate)(EffectSettings& settings, size_t index);
};

// Every field, groups in the order a player sends them.
const std::vector<PresetField>& PresetFields();

}  // namespace lxfx
