// SPDX-License-Identifier: MIT

#include "support/fake_panel.h"

#include "monitor/service_catalogue.h"
#include "report/problem_model.h"
#include "support/redirected_files.h"

#include <clocale>
#include <libxml/parser.h>
#include <map>
#include <new>

namespace {

/// Holds the files of all panels of this process; the panel's root is a folder in it.
const keldo::test::TemporaryDirectory& directory() {
    static const keldo::test::TemporaryDirectory instance;
    return instance;
}

const std::filesystem::path& rootPath() {
    static const std::filesystem::path path = directory().path() / "kvr";
    return path;
}

std::map<std::string, int>& reads() {
    static std::map<std::string, int> map;
    return map;
}

/// Reading this definition throws.
std::string& failingPath() {
    static std::string path;
    return path;
}

std::string pathOf(const std::string& id) {
    return "/service/" + id + ".xml";
}

void resetRun() {
    keldo::problemModel = keldo::ProblemModel();
    keldo::ServiceCatalogue::instance() = keldo::ServiceCatalogue();
    keldo::currentLanguage = keldo::englishLanguage;
    std::setlocale(LC_ALL, "C");
}

} // namespace

extern "C" {
xmlDocPtr __real_xmlParseFile(const char* path);
xmlDocPtr __wrap_xmlParseFile(const char* path);
}

xmlDocPtr __wrap_xmlParseFile(const char* path) {
    ++reads()[path];
    if (path == failingPath()) {
        throw std::bad_alloc();
    }
    const std::string name = path;
    return name.starts_with("/service/") ? __real_xmlParseFile((rootPath().string() + name).c_str())
                                         : __real_xmlParseFile(path);
}

namespace keldo::test {

FakePanel::FakePanel() {
    std::filesystem::remove_all(rootPath());
    std::filesystem::create_directories(rootPath() / "tmp");
    redirectFile("/etc/kvr/kvr.conf",
                 directory().write("kvr.conf", "PRODUCT_ROOT_D " + rootPath().string() + "\n"));
    reads().clear();
    failingPath().clear();
    resetRun();
}

FakePanel::~FakePanel() {
    resetRun();
}

const std::filesystem::path& FakePanel::root() const {
    return rootPath();
}

void FakePanel::define(const std::string& id, const std::string& content) const {
    directory().write("kvr" + pathOf(id), content);
}

int FakePanel::readsOf(const std::string& id) const {
    return reads()[pathOf(id)];
}

void FakePanel::failOn(const std::string& id) const {
    failingPath() = pathOf(id);
}

void FakePanel::installMonitor(const std::string& script) const {
    install("monit", script);
}

void FakePanel::installUpgradeCheck(const std::string& script) const {
    install("noupgradecheck", script);
}

std::vector<std::string> FakePanel::controlFiles() const {
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(rootPath() / "tmp")) {
        paths.push_back(entry.path().string());
    }
    return paths;
}

std::string FakePanel::content(const std::string& name) const {
    const std::filesystem::path path = rootPath() / name;
    return std::filesystem::exists(path) ? contentOf(path) : "";
}

void FakePanel::install(const std::string& tool, const std::string& script) const {
    directory().writeScript("kvr/admin/sbin/" + tool,
                            "#!/bin/sh\nPANEL='" + rootPath().string() + "'\n" + script + "\n");
}

std::string definitionXml(const std::string& id, const std::string& content) {
    return "<service xmlns=\"http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1\" id=\"" + id +
           "\">" + content + "</service>\n";
}

} // namespace keldo::test
