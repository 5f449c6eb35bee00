// A preset: settings read from JSON, overridden value by value from the
// command line, and the groups they touch. Every problem throws ToolError
// with one line naming the source, the key and what is wrong.
#pragma once

#include <set>
#include <string>

#include "EffectSettings.h"

namespace lxfx {

class Preset {
public:
    // Reads a preset file: one JSON object, any subset of the complete preset.
    // Relative impulse paths are taken from the file's folder.
    void LoadFile(const std::string& path);
    // Reads preset text; source names it in messages.
    void LoadText(const std::string& text, const std::string& source);
    // Applies "KEY=VALUE", e.g. "graphEQ.gains[2]=3". VALUE is JSON; text that
    // is not JSON counts as a string.
    void Set(const std::string& assignment);
    // Sets a text value, such as an impulse file, taken as it is.
    void SetText(const std::string& path, const std::string& text);

    const EffectSettings& Settings() const { return settings; }
    // Groups that the preset and the overrides touched.
    const std::set<std::string>& Groups() const { return groups; }

    // The complete preset with every field, as indented JSON.
    std::string ToJson() const;

private:
    EffectSettings settings;
    std::set<std::string> groups;
};

}  // namespace lxfx
