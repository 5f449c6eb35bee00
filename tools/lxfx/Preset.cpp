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

// A preset is four levels deep at most; 64 is far beyond any real one. Deeper text
// is refused before parsing, since printing such a value in a message would
// recurse once per level.
constexpr size_t kMaxNesting = 64;
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
    const std::string shown = Clipped(key);
    const std::string nearest = NearestKey(parent, shown);
    throw ToolError(source + ": unknown key \"" + ChildPath(parent, shown) + "\" " +
                    (nearest.empty() ? "(\"" + parent + "\" is a single value)"
                                     : "(did you mean \"" + nearest + "\"?)"));
}

[[noreturn]] void OutsideTable(const std::string& source, const std::string& table,
                               const std::string& index)
{
    throw ToolError(source + ": \"" + table + "\" has " + std::to_string(Paths().tables.at(table)) +
                    " entries (0 to " + std::to_string(Paths().tables.at(table) - 1) +
                    "); index " + Clipped(index) + " is outside the table");
}

// Text that is not valid UTF-8 is shown with replacement characters.
std::string Shown(const Json& value)
{
    return Clipped(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

// The byte where brackets outside strings first nest deeper than kMaxNesting,
// or npos.
size_t TooDeepAt(const std::string& text)
{
    size_t depth = 0;
    bool inString = false, escaped = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaxNesting)
                return i;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return std::string::npos;
}

std::string LineAndColumn(const std::string& text, size_t byte)
{
    size_t line = 1, column = 1;
    for (size_t i = 0; i < std::min(byte, text.size()); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

// The parser reports a number beyond double's range with the number's text
// between quotes; that text is what the user wrote.
[[noreturn]] void NumberOutOfRange(const std::string& source, const Json::out_of_range& error)
{
    const std::string reason = error.what();
    const size_t open = reason.find('\'');
    const size_t close = reason.rfind('\'');
    if (open == std::string::npos || close <= open)
        throw ToolError(source + ": a number is out of range");
    throw ToolError(source + ": the number " + Clipped(reason.substr(open + 1, close - open - 1)) +
                    " is out of range");
}

// Parses a whole preset; source names it in messages.
Json ParsePreset(const std::string& text, const std::string& source)
{
    if (text.find_first_not_of(" \t\r\n") == std::string::npos)
        throw ToolError(source + ": the file is empty; a preset is one JSON object, e.g. {}");
    if (const size_t deep = TooDeepAt(text); deep != std::string::npos)
        throw ToolError(source + ": nested deeper than " + std::to_string(kMaxNesting) +
                        " levels at " + LineAndColumn(text, deep));
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        // error.byte counts from 1 and points past the byte where parsing stopped.
        std::string reason = error.what();
        const size_t detail = reason.find(": ", reason.find("column"));
        reason = detail == std::string::npos ? reason : reason.substr(detail + 2);
        throw ToolError(source + ": malformed JSON at " +
                        LineAndColumn(text, error.byte ? error.byte - 1 : 0) + ": " +
                        Clipped(reason, 160));
    } catch (const Json::out_of_range& error) {
        NumberOutOfRange(source, error);
    }
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
                OutsideTable(source, path, std::to_string(table->second));
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
                throw ToolError(source + ": \"" + Clipped(path) + "\" has a malformed table index");
            if (!paths.tables.count(known))
                throw ToolError(source + ": \"" + known + "\" is not a table");
            size_t index = 0;
            const char* end = digits.data() + digits.size();
            const auto parsed = std::from_chars(digits.data(), end, index);
            if (parsed.ec != std::errc() || index >= paths.tables.at(known))
                OutsideTable(source, known, digits);
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
    const size_t slash = path.rfind('/');
    const std::string baseDir = slash == std::string::npos ? "" : path.substr(0, slash);
    const Json document = ParsePreset(std::string(bytes.begin(), bytes.end()), path);
    PresetReader(settings, groups, path, baseDir).Read(document, "");
}

void Preset::LoadText(const std::string& text, const std::string& source)
{
    PresetReader(settings, groups, source, "").Read(ParsePreset(text, source), "");
}

void Preset::Set(const std::string& assignment)
{
    const std::string source = "--set " + Clipped(assignment);
    const size_t equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0)
        throw ToolError(source + ": expected KEY=VALUE, e.g. reverb.rvb.DecayTime=2.5");
    const std::string path = assignment.substr(0, equals);
    const std::string text = assignment.substr(equals + 1);
    CheckPath(source, path);
    if (TooDeepAt(text) != std::string::npos)
        throw ToolError(source + ": the value is nested deeper than " +
                        std::to_string(kMaxNesting) + " levels");
    Json value;
    try {
        value = Json::parse(text);
    } catch (const Json::parse_error&) {
        value = Json(text);
    } catch (const Json::out_of_range& error) {
        NumberOutOfRange(source, error);
    }
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
