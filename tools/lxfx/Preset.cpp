#include "Preset.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

#include <nlohmann/json.hpp>

#include "PresetSchema.h"
#include "ToolError.h"
#include "WholeFile.h"

namespace lxfx {

namespace {

using Json = nlohmann::ordered_json;

// A complete preset is a few kilobytes.
constexpr uint64_t kMaxPresetBytes = uint64_t(16) << 20;

struct Leaf {
    const PresetField* field;
    size_t index;
};

// The schema's rows spread out into every path a preset may name: the values,
// the objects holding them, and the tables with their sizes.
struct PathIndex {
    std::map<std::string, Leaf> leaves;
    std::map<std::string, size_t> tables;
    std::set<std::string> objects;  // "" is the whole preset
};

std::string ExpandPath(const char* pattern, size_t index)
{
    std::string path = pattern;
    const size_t marker = path.find("[]");
    if (marker != std::string::npos)
        path.replace(marker, 2, "[" + std::to_string(index) + "]");
    return path;
}

const PathIndex& Paths()
{
    static const PathIndex index = [] {
        PathIndex built;
        built.objects.insert("");
        for (const PresetField& field : PresetFields()) {
            const size_t count = field.tableSize ? field.tableSize : 1;
            for (size_t i = 0; i < count; ++i) {
                const std::string path = ExpandPath(field.path, i);
                built.leaves[path] = Leaf{&field, i};
                for (size_t pos = 0; pos < path.size(); ++pos) {
                    if (path[pos] == '.')
                        built.objects.insert(path.substr(0, pos));
                    else if (path[pos] == '[')
                        built.tables[path.substr(0, pos)] = count;
                    else if (path[pos] == ']' && pos + 1 < path.size())
                        built.objects.insert(path.substr(0, pos + 1));
                }
            }
        }
        return built;
    }();
    return index;
}

size_t EditDistance(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t above = row[j];
            const bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                              std::tolower(static_cast<unsigned char>(b[j - 1]));
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

std::string ChildPath(const std::string& parent, const std::string& key)
{
    return parent.empty() ? key : parent + "." + key;
}

// The valid key under parent closest to the one given.
std::string NearestKey(const std::string& parent, const std::string& key)
{
    const std::string prefix = parent.empty() ? "" : parent + ".";
    std::string best;
    size_t bestDistance = std::numeric_limits<size_t>::max();
    auto consider = [&](const std::string& path) {
        if (path.compare(0, prefix.size(), prefix) != 0)
            return;
        std::string name = path.substr(prefix.size());
        name = name.substr(0, name.find_first_of(".["));
        if (name.empty())
            return;
        const size_t distance = EditDistance(key, name);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = prefix + name;
        }
    };
    for (const auto& leaf : Paths().leaves)
        consider(leaf.first);
    return best;
}

[[noreturn]] void UnknownKey(const std::string& source, const std::string& parent,
                             const std::string& key)
{
    throw ToolError(source + ": unknown key \"" + ChildPath(parent, key) + "\" (did you mean \"" +
                    NearestKey(parent, key) + "\"?)");
}

[[noreturn]] void OutsideTable(const std::string& source, const std::string& table, size_t index)
{
    throw ToolError(source + ": \"" + table + "\" has " + std::to_string(Paths().tables.at(table)) +
                    " entries (0 to " + std::to_string(Paths().tables.at(table) - 1) +
                    "); index " + std::to_string(index) + " is outside the table");
}

std::string Shown(const Json& value)
{
    return value.dump();
}

// Floats travel through JSON in their shortest decimal form, so 1.2f is
// written as 1.2 and reads back as the same float.
Json FloatToJson(float value)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return Json(std::strtod(std::string(text, result.ptr).c_str(), nullptr));
}

class PresetReader {
public:
    PresetReader(EffectSettings& settings_, std::set<std::string>& groups_, std::string source_,
                 std::string baseDir_)
        : settings(settings_), groups(groups_), source(std::move(source_)),
          baseDir(std::move(baseDir_))
    {
    }

    void Read(const Json& value, const std::string& path)
    {
        const PathIndex& paths = Paths();
        if (auto leaf = paths.leaves.find(path); leaf != paths.leaves.end()) {
            Assign(leaf->second, value, path);
        } else if (auto table = paths.tables.find(path); table != paths.tables.end()) {
            if (!value.is_array())
                throw ToolError(source + ": \"" + path + "\" expects a list of up to " +
                                std::to_string(table->second) + " entries, got " + Shown(value));
            if (value.size() > table->second)
                OutsideTable(source, path, table->second);
            for (size_t i = 0; i < value.size(); ++i)
                Read(value[i], path + "[" + std::to_string(i) + "]");
        } else {
            if (!value.is_object())
                throw ToolError(source + ": " +
                                (path.empty() ? std::string("a preset")
                                              : "\"" + path + "\"") +
                                " expects an object, got " + Shown(value));
            for (const auto& item : value.items()) {
                const std::string child = ChildPath(path, item.key());
                if (!paths.leaves.count(child) && !paths.tables.count(child) &&
                    !paths.objects.count(child))
                    UnknownKey(source, path, item.key());
                Read(item.value(), child);
            }
        }
    }

private:
    void Assign(const Leaf& leaf, const Json& value, const std::string& path)
    {
        const FieldRef target = leaf.field->locate(settings, leaf.index);
        const std::string where = source + ": \"" + path + "\" expects ";
        if (auto* flag = std::get_if<bool*>(&target)) {
            if (!value.is_boolean())
                throw ToolError(where + "true or false, got " + Shown(value));
            **flag = value.get<bool>();
        } else if (auto* whole = std::get_if<uint32_t*>(&target)) {
            const double number = value.is_number() ? value.get<double>() : -1.0;
            if (!value.is_number() || number < 0.0 || number > 4294967295.0 ||
                number != std::floor(number))
                throw ToolError(where + "a whole number from 0 to 4294967295, got " + Shown(value));
            **whole = static_cast<uint32_t>(number);
        } else if (auto* single = std::get_if<float*>(&target)) {
            if (!value.is_number() || !std::isfinite(value.get<double>()) ||
                std::fabs(value.get<double>()) > std::numeric_limits<float>::max())
                throw ToolError(where + "a number, got " + Shown(value));
            **single = static_cast<float>(value.get<double>());
        } else if (auto* wide = std::get_if<double*>(&target)) {
            if (!value.is_number() || !std::isfinite(value.get<double>()))
                throw ToolError(where + "a number, got " + Shown(value));
            **wide = value.get<double>();
        } else if (auto* text = std::get_if<std::string*>(&target)) {
            if (!value.is_string())
                throw ToolError(where + "a file name, got " + Shown(value));
            std::string file = value.get<std::string>();
            if (!file.empty() && file[0] != '/' && !baseDir.empty())
                file = baseDir + "/" + file;
            **text = file;
        }
        groups.insert(path.substr(0, path.find_first_of(".[")));
    }

    EffectSettings& settings;
    std::set<std::string>& groups;
    std::string source;
    std::string baseDir;
};

// Splits a path given on the command line at its first unknown step, so that
// the message names what is wrong: a key or a table index.
void CheckPath(const std::string& source, const std::string& path)
{
    const PathIndex& paths = Paths();
    std::string known;
    size_t pos = 0;
    while (pos < path.size()) {
        if (path[pos] == '[') {
            const size_t close = path.find(']', pos);
            const std::string digits = path.substr(pos + 1, close == std::string::npos
                                                                ? std::string::npos
                                                                : close - pos - 1);
            if (close == std::string::npos || digits.empty() ||
                digits.find_first_not_of("0123456789") != std::string::npos)
                throw ToolError(source + ": \"" + path + "\" has a malformed table index");
            if (!paths.tables.count(known))
                throw ToolError(source + ": \"" + known + "\" is not a table");
            const size_t index = std::stoul(digits);
            if (index >= paths.tables.at(known))
                OutsideTable(source, known, index);
            known += path.substr(pos, close - pos + 1);
            pos = close + 1;
        } else {
            if (path[pos] == '.')
                ++pos;
            const size_t end = std::min(path.find_first_of(".[", pos), path.size());
            const std::string key = path.substr(pos, end - pos);
            const std::string next = ChildPath(known, key);
            if (!paths.leaves.count(next) && !paths.tables.count(next) && !paths.objects.count(next))
                UnknownKey(source, known, key);
            known = next;
            pos = end;
        }
    }
}

void SetAtPath(Json& root, const std::string& path, Json value)
{
    Json* node = &root;
    size_t pos = 0;
    while (pos < path.size()) {
        if (path[pos] == '[') {
            const size_t close = path.find(']', pos);
            node = &(*node)[std::stoul(path.substr(pos + 1, close - pos - 1))];
            pos = close + 1;
        } else {
            if (path[pos] == '.')
                ++pos;
            const size_t end = std::min(path.find_first_of(".[", pos), path.size());
            node = &(*node)[path.substr(pos, end - pos)];
            pos = end;
        }
    }
    *node = std::move(value);
}

}  // namespace

void Preset::LoadFile(const std::string& path)
{
    const std::vector<char> bytes = ReadWholeFile(path, "preset", kMaxPresetBytes);
    const std::string content(bytes.begin(), bytes.end());
    const size_t slash = path.rfind('/');
    const std::string baseDir = slash == std::string::npos ? "" : path.substr(0, slash);
    Json document;
    try {
        document = Json::parse(content);
    } catch (const Json::parse_error& error) {
        // Line and column of the byte where parsing stopped.
        const size_t stop = std::min<size_t>(error.byte ? error.byte - 1 : 0, content.size());
        size_t line = 1, column = 1;
        for (size_t i = 0; i < stop; ++i) {
            if (content[i] == '\n') {
                ++line;
                column = 1;
            } else {
                ++column;
            }
        }
        std::string reason = error.what();
        const size_t detail = reason.find(": ", reason.find("column"));
        reason = detail == std::string::npos ? reason : reason.substr(detail + 2);
        throw ToolError(path + ": malformed JSON at line " + std::to_string(line) + ", column " +
                        std::to_string(column) + ": " + reason);
    }
    PresetReader(settings, groups, path, baseDir).Read(document, "");
}

void Preset::LoadText(const std::string& text, const std::string& source)
{
    PresetReader(settings, groups, source, "").Read(Json::parse(text), "");
}

void Preset::Set(const std::string& assignment)
{
    const std::string source = "--set " + assignment;
    const size_t equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0)
        throw ToolError(source + ": expected KEY=VALUE, e.g. reverb.rvb.DecayTime=2.5");
    const std::string path = assignment.substr(0, equals);
    const std::string text = assignment.substr(equals + 1);
    CheckPath(source, path);
    Json value = Json::parse(text, nullptr, false);
    if (value.is_discarded())
        value = Json(text);
    PresetReader(settings, groups, source, "").Read(value, path);
}

void Preset::SetText(const std::string& path, const std::string& text)
{
    const std::string source = path + " \"" + text + "\"";
    CheckPath(source, path);
    PresetReader(settings, groups, source, "").Read(Json(text), path);
}

std::string Preset::ToJson() const
{
    EffectSettings copy = settings;
    Json root = Json::object();
    for (const PresetField& field : PresetFields()) {
        const size_t count = field.tableSize ? field.tableSize : 1;
        for (size_t i = 0; i < count; ++i) {
            const FieldRef value = field.locate(copy, i);
            Json node;
            if (auto* flag = std::get_if<bool*>(&value))
                node = **flag;
            else if (auto* whole = std::get_if<uint32_t*>(&value))
                node = **whole;
            else if (auto* single = std::get_if<float*>(&value))
                node = FloatToJson(**single);
            else if (auto* wide = std::get_if<double*>(&value))
                node = **wide;
            else if (auto* text = std::get_if<std::string*>(&value))
                node = **text;
            SetAtPath(root, ExpandPath(field.path, i), std::move(node));
        }
    }
    return root.dump(2);
}

}  // namespace lxfx
