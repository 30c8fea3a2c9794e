// SPDX-License-Identifier: MIT

#include "xml/memory.h"

#include "report/report_writer.h"

#include <csignal>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <libxml/xmlmemory.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// The allocation that fails, counted from now; 0 for none.
int failing = 0;

bool strdupFails = false;

bool fails() {
    return failing != 0 && --failing == 0;
}

} // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size);
void* __real_realloc(void* memory, size_t size);
void* __wrap_realloc(void* memory, size_t size);
char* __real_strdup(const char* text);
char* __wrap_strdup(const char* text);
}

void* __wrap_malloc(size_t size) {
    return fails() ? nullptr : __real_malloc(size);
}

void* __wrap_realloc(void* memory, size_t size) {
    return fails() ? nullptr : __real_realloc(memory, size);
}

char* __wrap_strdup(const char* text) {
    return strdupFails ? nullptr : __real_strdup(text);
}

namespace keldo {
namespace {

/// Each test runs in a child process, because xmlMemSetup() cannot be undone.
class XmlMemory : public testing::Test {
protected:
    /// Makes the allocation with that number fail and calls `work`. Exits with 0 if it returns
    /// true.
    static void run(int allocation, const std::function<bool()>& work) {
        abortOnXmlOutOfMemory();
        failing = allocation;
        const bool isRight = work();
        failing = 0;
        _exit(isRight ? 0 : 1);
    }
};

TEST_F(XmlMemory, AllocatesAsBefore) {
    const auto use = [] {
        char* const memory = static_cast<char*>(xmlRealloc(xmlMalloc(1), 100));
        memory[99] = 'x';
        xmlFree(memory);
        return true;
    };
    EXPECT_EXIT(run(0, use), testing::ExitedWithCode(0), "");
}

TEST_F(XmlMemory, CopiesTextsWithoutStrdup) {
    const auto copy = [] {
        strdupFails = true;
        char* const text = xmlMemStrdup("text");
        strdupFails = false;
        const bool isCopy = std::string_view(text) == "text";
        xmlFree(text);
        return isCopy;
    };
    EXPECT_EXIT(run(0, copy), testing::ExitedWithCode(0), "");
}

TEST_F(XmlMemory, AbortsIfAnAllocationFails) {
    const auto allocate = [] { return xmlMalloc(1) != nullptr; };
    const auto enlarge = [] { return xmlRealloc(nullptr, 1) != nullptr; };
    const auto duplicate = [] { return xmlMemStrdup("text") != nullptr; };
    EXPECT_EXIT(run(1, allocate), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(run(1, enlarge), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(run(1, duplicate), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(run(2, allocate), testing::ExitedWithCode(0), "");
}

// The log is long enough for the serialiser to enlarge its buffer several times.
TEST_F(XmlMemory, AbortsARunOrWritesTheWholeReport) {
    ProblemModel model;
    const Solution restart = {"r", {"Restart it.", "en-US"}, ""};
    model.addProblem({"x", {"It is off.", "en-US"}, Severity::major, {restart}, 0});
    model.setActionResult("r", {0, std::string(30000, 'l') + "<>; a &amp; b"});
    const std::string whole = reportDocument(model);
    int status = SIGABRT;
    int allocation = 0;
    while (status == SIGABRT) {
        ++allocation;
        const pid_t child = fork();
        if (child == 0) {
            run(allocation, [&] { return reportDocument(model) == whole; });
        }
        ASSERT_EQ(child, waitpid(child, &status, 0));
    }
    EXPECT_EQ(0, status);
    EXPECT_GT(allocation, 20);
}

} // namespace
} // namespace keldo
