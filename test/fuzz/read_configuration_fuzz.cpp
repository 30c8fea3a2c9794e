// SPDX-License-Identifier: MIT

#include "conf/read_configuration.h"

#include "conf/messages.h"
#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/memory_file.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace keldo::test {

namespace {

// The model: reads a file character by character.

struct Definition {
    std::string name;
    std::string value;
};

/// All definitions of a file, with repeated names, and the messages about invalid lines.
struct FileContent {
    std::vector<Definition> definitions;
    std::vector<std::string> complaints;
};

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

/// Returns the position of the first character at or after `start` for which `isOfKind` is false,
/// or the size of the text.
std::size_t endOf(bool (*isOfKind)(char), std::string_view text, std::size_t start) {
    while (start < text.size() && isOfKind(text[start])) {
        ++start;
    }
    return start;
}

bool endsAt(std::string_view text, std::size_t position) {
    return position == text.size() || text[position] == '#';
}

/// Returns the value at the start of a text that is not empty. If the number of blanks at its end
/// is odd, the last blank is cut off.
std::string valueAtStartOf(std::string_view text) {
    std::size_t end = 1;
    while (!endsAt(text, end)) {
        ++end;
    }
    std::size_t blanks = 0;
    while (end - blanks > 1 && isBlank(text[end - blanks - 1])) {
        ++blanks;
    }
    return std::string(text.substr(0, blanks % 2 == 0 ? end : end - 1));
}

void readLine(std::string_view line, FileContent& content) {
    line = line.substr(0, line.find('\0')); // a line is a C string
    line.remove_prefix(endOf(isBlank, line, 0));
    if (endsAt(line, 0)) {
        return;
    }
    const std::string complaint = "Invalid variable definition " + std::string(line) + "\n";
    const std::size_t nameEnd = endOf(isNameCharacter, line, 0);
    const std::size_t valueStart = endOf(isBlank, line, nameEnd);
    if (nameEnd == valueStart) {
        content.complaints.push_back(complaint + "Expected a space after variable name\n");
    } else if (endsAt(line, valueStart)) {
        content.complaints.push_back(complaint + "Expected a value");
    } else {
        content.definitions.push_back(
            {std::string(line.substr(0, nameEnd)), valueAtStartOf(line.substr(valueStart))});
    }
}

FileContent contentOf(std::string_view file) {
    FileContent content;
    while (!file.empty()) {
        const std::size_t newline = file.find('\n');
        const std::size_t length = newline == std::string_view::npos ? file.size() : newline + 1;
        readLine(file.substr(0, length), content);
        file.remove_prefix(length);
    }
    return content;
}

std::map<std::string, std::string> valuesOf(const FileContent& content) {
    std::map<std::string, std::string> values;
    for (const Definition& definition : content.definitions) {
        values[definition.name] = definition.value;
    }
    return values;
}

/// Returns the capacity of a table with these definitions. A full table doubles before each
/// addition, even of a name that it has.
std::uint32_t capacityFor(const FileContent& content) {
    std::map<std::string, std::string> values;
    std::uint32_t capacity = 20;
    for (const Definition& definition : content.definitions) {
        if (values.size() == capacity) {
            capacity *= 2;
        }
        values[definition.name] = definition.value;
    }
    return capacity;
}

// The trial.

struct FreeRecord {
    void operator()(conf_rec* record) const noexcept { conf_free_r(record); }
};
using Record = std::unique_ptr<conf_rec, FreeRecord>;

Record newRecord() {
    return Record(static_cast<conf_rec*>(std::calloc(1, sizeof(conf_rec))));
}

std::vector<std::string> logged;

[[gnu::format(printf, 2, 3)]] void recordMessage(int priority, const char* format, ...) {
    require(priority == 12, "messages are user warnings");
    va_list args;
    va_start(args, format);
    char* text = nullptr;
    require(vasprintf(&text, format, args) != -1, "a message can be formatted");
    va_end(args);
    logged.emplace_back(text);
    std::free(text);
}

/// Returns names to look up: those in the file and similar ones.
std::vector<std::string> namesLike(const FileContent& content) {
    std::vector<std::string> names = {"", "NAME"};
    for (const Definition& definition : content.definitions) {
        names.push_back(definition.name);
        names.push_back(definition.name + "_");
        names.push_back(definition.name.substr(1));
        names.push_back(definition.value);
    }
    return names;
}

void requireLookUps(const conf_rec& record, const FileContent& content) {
    const auto values = valuesOf(content);
    for (const std::string& name : namesLike(content)) {
        const char* const value = conf_get_r(name.c_str(), &record);
        const auto expected = values.find(name);
        require((value != nullptr) == (expected != values.end()),
                "a name is found if the file has it");
        if (value != nullptr) {
            requireEqual(expected->second, value, "the last value of a name is found");
        }
    }
}

void requireSortedTable(const conf_rec& record, const FileContent& content) {
    const auto values = valuesOf(content);
    require(record.sorted == 1, "a table that was read is sorted");
    require(record.nmemb == values.size(), "a table holds each name once");
    require(record.size == capacityFor(content), "a table doubles when it is full");
    const conf_pair* pair = record.data;
    for (const auto& [name, value] : values) {
        requireEqual(name, pair->name, "names are in the order of their bytes");
        requireEqual(value, pair->value, "a name has its last value");
        ++pair;
    }
}

/// Checks a table that is filled by conf_add_r(): unsorted, then sorted.
void requireSearchedTable(const FileContent& content) {
    const Record record = newRecord();
    require(conf_init_r(record.get()) == 0, "a table can be made");
    for (const Definition& definition : content.definitions) {
        require(conf_add_r(definition.name.c_str(), definition.value.c_str(), record.get()) == 0,
                "a definition can be added");
    }
    requireLookUps(*record, content);
    conf_finalize_r(record.get());
    requireLookUps(*record, content);
    requireSortedTable(*record, content);
}

} // namespace

void tryInput(const std::string& input) {
    const MemoryFile file(input);
    const FileContent expected = contentOf(input);
    const Record record = newRecord();
    logged.clear();
    log_fn = recordMessage;
    require(conf_read_file_r(file.path().c_str(), record.get()) == 0, "any file can be read");
    require(logged == expected.complaints, "each invalid line is logged");
    requireSortedTable(*record, expected);
    requireLookUps(*record, expected);
    requireSearchedTable(expected);
}

} // namespace keldo::test
