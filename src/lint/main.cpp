// SPDX-License-Identifier: MIT

#include "exec/inherited_state.h"
#include "exec/program_name.h"
#include "lint/command_line.h"
#include "lint/escaped_text.h"
#include "lint/lint_file.h"
#include "xml/memory.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

using namespace keldo;

enum Status { clean = EXIT_SUCCESS, found = 1, failed = 2 };

void printMessage(const std::exception& error) {
    std::cerr << programName << ": " << lint::escapedText(error.what()) << '\n';
}

/// By the C library, which leaves the reason of a failure in errno.
void print(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        throw std::runtime_error("cannot write to standard output -- " +
                                 std::generic_category().message(errno));
    }
}

/// After a comment, since a control file says nothing of where it comes from.
void printControlFile(const std::string& path, const std::optional<std::string>& text) {
    print("# " + lint::escapedText(path) + '\n' +
          lint::escapedText(text.value_or("# keldoctl writes no control file for it\n"), "\n\t"));
}

Status lintAndPrint(const std::string& path, bool showControlFile) {
    try {
        const lint::Result result = lint::lintFile(path);
        for (const lint::Finding& finding : result.findings) {
            std::cerr << lint::findingLine(path, finding) << '\n';
        }
        if (showControlFile) {
            printControlFile(path, result.controlFile);
        }
        return result.findings.empty() ? clean : found;
    } catch (const std::exception& error) {
        printMessage(error);
        return failed;
    }
}

int run(const std::vector<std::string>& arguments) {
    const lint::CommandLine commandLine = lint::parseCommandLine(arguments);
    if (commandLine.printUsage) {
        print(lint::usage());
        return clean;
    }
    Status worst = clean;
    for (const std::string& file : commandLine.files) {
        worst = std::max(worst, lintAndPrint(file, commandLine.showControlFiles));
    }
    return worst;
}

} // namespace

int main(int argc, char* argv[]) {
    makeInheritedStateSane();
    const std::vector<std::string> words(argv, argv + argc);
    programName = std::filesystem::path(argc > 0 ? argv[0] : "").filename();
    abortOnXmlOutOfMemory();
    int status = failed;
    try {
        status = run({words.begin() + (argc > 0 ? 1 : 0), words.end()});
    } catch (const lint::CommandLineError& error) {
        std::cerr << error.what();
    } catch (const std::exception& error) {
        printMessage(error);
    }
    return std::cerr ? status : failed; // what was found may have been lost
}
