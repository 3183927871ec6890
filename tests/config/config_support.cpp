#include "tests/config/config_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ostream>

namespace nq::test {
namespace {

std::string in_hex(NQStatus status) {
    char text[16];
    std::snprintf(text, sizeof text, "%08x", status);
    return text;
}

}  // namespace

Tree& Tree::set(const std::string& key, Tree value) {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const auto& entry) { return entry.first == key; });
    if (found != entries.end()) return found->second = std::move(value);
    return entries.emplace_back(key, std::move(value)).second;
}

std::string to_string(const Tree& tree) {
    if (!tree.is_dictionary) return '"' + tree.text + '"';
    std::string text = "{";
    for (const auto& [key, value] : tree.entries) {
        if (text.size() > 1) text += ", ";
        text += key + ": " + to_string(value);
    }
    return text + '}';
}

std::ostream& operator<<(std::ostream& out, const Tree& tree) { return out << to_string(tree); }

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    out << in_hex(outcome.status) << " at line " << outcome.line;
    return outcome.status ? out : out << ' ' << outcome.tree;
}

Tree tree_of(NQDictionary* dictionary) {
    Tree tree = Tree::dictionary();
    for (const auto& [key, value] : entries_of(dictionary)) {
        const bool is_text = std::strcmp(value->typeName, "NQU8String") == 0;
        tree.entries.emplace_back(key, is_text
                                           ? Tree::of(text_of(reinterpret_cast<NQU8String*>(value)))
                                           : tree_of(reinterpret_cast<NQDictionary*>(value)));
    }
    return tree;
}

Outcome read_configuration(CheckingHost& host, const char* name, HostPool* pool) {
    InstanceApi* api = host.api();
    NQDictionary* root = nullptr;
    Outcome outcome{.line = kLineUntouched};
    outcome.status =
        api->readConfiguration(api, pool ? pool : host.pool(), name, &outcome.line, &root);
    EXPECT_EQ(root != nullptr, outcome.status == NQ_STATUS_OK);
    if (root) {
        outcome.tree = tree_of(root);
        release(root);
    }
    return outcome;
}

Reader::Reader(CheckingHost& host, const char* file) : api_(host.api()) {
    EXPECT_EQ(api_->createTextReader(api_, host.pool(), &reader_), NQ_STATUS_OK);
    if (file) {
        EXPECT_EQ(open(file), NQ_STATUS_OK);
    }
}

NQStatus Reader::open(const char* file) { return api_->openTextReader(reader_, file); }

NQStatus Reader::read(NQU8String** line) { return api_->readLine(reader_, line); }

std::string Reader::next() {
    NQU8String* line = nullptr;
    const NQStatus status = read(&line);
    std::string text = line ? text_of(line) : "<end>";
    release(line);
    if (status) text = "<status " + in_hex(status) + ">";
    return text;
}

std::vector<std::string> Reader::all() {
    std::vector<std::string> lines;
    for (;;) {
        std::string line = next();
        const bool is_last = line == "<end>" || line.starts_with("<status ");
        if (line != "<end>") lines.push_back(std::move(line));
        if (is_last) return lines;
    }
}

}  // namespace nq::test
