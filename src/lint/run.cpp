// SPDX-License-Identifier: MIT

#include "lint/run.h"

#include "exec/process_state.h"
#include "exec/program_version.h"
#include "lint/command_line.h"
#include "lint/escaped_text.h"
#include "lint/lint_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace keldo::lint {

namespace {

enum Status { clean = EXIT_SUCCESS, found = 1, failed = 2 };

/// Writes by the C library, which leaves the reason of a failure in errno.
void write(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        throw std::runtime_error("cannot write to standard output -- " +
                                 std::generic_category().message(errno));
    }
}

void complain(const std::string& text) {
    std::fputs(text.c_str(), stderr);
}

void complainOf(const std::string& path, const std::exception& error) {
    complain(programName + ": " + escapedText(path) + ": " + escapedText(error.what()) + "\n");
}

/// Precedes the control file by a comment that names the definition.
void writeControlFile(const std::string& path, const std::optional<std::string>& text) {
    write("# " + escapedText(path) + '\n' +
          escapedText(text.value_or("# no control file\n"), "\n\t"));
}

Status lintAndPrint(const std::string& path, bool showControlFile) {
    try {
        const Result result = lintFile(path);
        for (const Finding& finding : result.findings) {
            complain(findingLine(path, finding) + '\n');
        }
        if (showControlFile) {
            writeControlFile(path, result.controlFile);
        }
        return result.findings.empty() ? clean : found;
    } catch (const std::exception& error) {
        complainOf(path, error);
        return failed;
    }
}

Status runAndPrint(const std::vector<std::string>& arguments) {
    const CommandLine commandLine = parseCommandLine(arguments);
    if (commandLine.printUsage) {
        write(usage());
        return clean;
    }
    if (commandLine.printVersion) {
        write(programName + " " + programVersion + "\n");
        return clean;
    }
    Status worst = clean;
    for (const std::string& file : commandLine.files) {
        worst = std::max(worst, lintAndPrint(file, commandLine.showControlFiles));
    }
    return worst;
}

} // namespace

int run(const std::vector<std::string>& arguments) noexcept {
    int status = failed;
    try {
        status = runAndPrint(arguments);
    } catch (const CommandLineError& error) {
        complain(error.what());
    } catch (const std::exception& error) {
        complain(programName + ": " + escapedText(error.what()) + "\n");
    }
    return std::ferror(stderr) == 0 ? status : failed; // a finding may be lost
}

} // namespace keldo::lint
