// SPDX-License-Identifier: MIT

// monit-check-status -c FILE -x check-status
//
// Runs the stock monit privately on the control file FILE, waits until every service of the file
// has been checked once, prints the services' names and statuses as a small XML document and ends
// all that it started. Stock monit has no such mode of its own: it is a daemon that checks again
// and again and answers questions over HTTP. So a call goes like this:
//
//   read FILE ── make a private directory ── start monit in it ── ask it for its status, again and
//   again, until no service waits for its first check ── kill monit, remove the directory ── print
//
// Nothing of monit's is shared with the machine's own monit: files, socket, HOME and environment
// are in the private directory or made for the child. The manual page is doc/monit-check-status.8.

#include "exec/unique_fd.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" { // glibc 2.36, Debian 12's, forgets this in the header itself
#include <sys/pidfd.h>
}

namespace {

using Clock = std::chrono::steady_clock;
using keldo::UniqueFd;
using std::chrono::milliseconds;
using std::chrono::seconds;

// By its full path: this program is itself installed under the name monit in the panel's own
// directory, and a search along PATH could find it instead.
constexpr const char* monitPath = "/usr/bin/monit";

// Where private directories are made, the first that takes one. Short, since a unix socket's path
// has to fit into 108 bytes.
constexpr std::array<const char*, 2> baseDirectories = {"/run", "/tmp"};
constexpr std::string_view directoryPrefix = "monit-check-status.";

// Monit gives up a test after five seconds and makes them one after another; the margin is for its
// start and for a busy machine.
constexpr seconds secondsPerTest{5};
constexpr seconds margin{5};

// The status of a service whose check was not over at the deadline. Of monit's bits it is the one
// of a changed checksum, which no test of a process or a port sets, so it cannot be mistaken.
constexpr std::string_view notCheckedStatus = "1";

// Monit closes every descriptor that it could have, one by one, and needs about ten.
constexpr rlim_t monitDescriptors = 64;

constexpr int execFailed = 127;

/// Something that prevents an answer; its text is one line without program name and line feed.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Monit ended by itself instead of checking; its text is what monit printed.
class MonitEnded : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A signal asks this program to end. Thrown so that the owners on the way clean up.
struct Interrupted : std::exception {
    explicit Interrupted(int number) : signalNumber(number) {}
    int signalNumber;
};

Failure failureFromErrno(const std::string& what) {
    return Failure(what + " -- " + std::generic_category().message(errno));
}

// ---- Files ----

std::string readFile(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    std::array<char, 16384> buffer{};
    for (;;) {
        const ssize_t count = file ? read(file.get(), buffer.data(), buffer.size()) : -1;
        if (count < 0) {
            throw failureFromErrno("cannot read a file -- " + path);
        }
        if (count == 0) {
            return text;
        }
        text.append(buffer.data(), static_cast<size_t>(count));
    }
}

void writeAll(int fd, std::string_view text, const std::string& what) {
    while (!text.empty()) {
        const ssize_t count = write(fd, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<size_t>(count));
        } else if (errno != EINTR) {
            throw failureFromErrno("cannot write " + what);
        }
    }
}

/// Makes the file `path`, mode 0600, with `text` in it; it must not exist yet.
UniqueFd createFile(const std::string& path, std::string_view text) {
    UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600));
    if (!file) {
        throw failureFromErrno("cannot make a file -- " + path);
    }
    writeAll(file.get(), text, path);
    return file;
}

/// Opens /dev/null for each of the descriptors 0, 1 and 2 that is closed, so that no file of ours
/// gets one of these numbers. It is opened for reading: writing the document to it must fail.
void occupyStandardDescriptors() {
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDONLY);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    close(fd);
}

// ---- The private directory ----

/// Opens and locks the directory `path`, waiting for the lock unless `operation` has LOCK_NB.
/// Gives no descriptor when it is no directory of our own, when its lock is held, or when another
/// process removed it before the lock was ours.
UniqueFd lockDirectory(const std::string& path, int operation) {
    UniqueFd directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat opened {};
    struct stat named {};
    if (!directory || fstat(directory.get(), &opened) != 0 || opened.st_uid != geteuid() ||
        flock(directory.get(), operation) != 0 || lstat(path.c_str(), &named) != 0 ||
        opened.st_dev != named.st_dev || opened.st_ino != named.st_ino) {
        return UniqueFd();
    }
    return directory;
}

/// A fresh directory, mode 0700, for all files of one call; removed with what is in it at the end.
///
/// While the object lives it holds a lock on the directory. A directory of this kind that nobody
/// has locked belongs to a call that was killed, or to one that has made it just now and is about
/// to lock it; the latter notices that it was swept away and makes another one.
class PrivateDirectory {
public:
    PrivateDirectory();
    ~PrivateDirectory() { removeTree(path_); }
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    std::string name() const { return path_.substr(path_.rfind('/') + 1); }
    std::string file(std::string_view fileName) const {
        return path_ + "/" + std::string(fileName);
    }
    const std::string& path() const { return path_; }

    /// Removes the directories that calls of the same user left behind when they were killed.
    void sweepOthers() const;

private:
    bool makeIn(const std::string& base);
    static void removeTree(const std::string& path) {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    std::string path_;
    UniqueFd lock_;
};

PrivateDirectory::PrivateDirectory() {
    if (std::none_of(baseDirectories.begin(), baseDirectories.end(),
                     [this](const char* base) { return makeIn(base); })) {
        throw failureFromErrno("cannot make a private directory");
    }
}

bool PrivateDirectory::makeIn(const std::string& base) {
    do {
        path_ = base + "/" + std::string(directoryPrefix) + "XXXXXX";
        if (mkdtemp(path_.data()) == nullptr) {
            return false;
        }
        lock_ = lockDirectory(path_, LOCK_EX);
        // Still there although not lockable: not the work of a sweep, so a second try is no use.
        if (!lock_ && rmdir(path_.c_str()) == 0) {
            return false;
        }
    } while (!lock_);
    return true;
}

void PrivateDirectory::sweepOthers() const {
    std::error_code error;
    std::filesystem::directory_iterator entry(std::filesystem::path(path_).parent_path(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string other = entry->path();
        if (entry->path().filename().native().starts_with(directoryPrefix)) {
            if (const UniqueFd lock = lockDirectory(other, LOCK_EX | LOCK_NB)) {
                removeTree(other);
            }
        }
    }
}

// ---- The control file ----

/// What is needed to know of a control file without asking monit.
struct ControlFile {
    std::string path;
    std::string text;
    bool isEmpty = true;                   // nothing but blanks and comments
    std::vector<std::string> serviceNames; // in the file's order
    int testCount = 0;
};

struct Word {
    std::string text;
    bool isQuoted;
};

/// The words of a control file, comments left out. A quoted text is one word.
std::vector<Word> wordsOf(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\f\v,;";
    std::vector<Word> words;
    for (size_t at = 0; (at = text.find_first_not_of(blanks, at)) != std::string_view::npos;) {
        const char first = text[at];
        const bool isQuoted = first == '"' || first == '\'';
        const size_t begin = isQuoted ? at + 1 : at;
        const size_t end = std::min(text.size(), first == '#' ? text.find('\n', begin)
                                                 : isQuoted   ? text.find(first, begin)
                                                              : text.find_first_of(blanks, begin));
        if (first != '#') {
            words.push_back({std::string(text.substr(begin, end - begin)), isQuoted});
        }
        at = end + (isQuoted && end < text.size() ? 1 : 0);
    }
    return words;
}

/// Monit takes its keywords in any mixture of upper and lower case.
bool isKeyword(const Word& word, std::string_view keyword) {
    return !word.isQuoted &&
           std::equal(word.text.begin(), word.text.end(), keyword.begin(), keyword.end(),
                      [](unsigned char a, unsigned char b) { return std::tolower(a) == b; });
}

ControlFile readControlFile(const std::string& path) {
    ControlFile control;
    control.path = path;
    control.text = readFile(path);
    const std::vector<Word> words = wordsOf(control.text);
    control.isEmpty = words.empty();
    for (size_t i = 0; i < words.size(); ++i) {
        if (isKeyword(words[i], "check") && i + 2 < words.size()) {
            control.serviceNames.push_back(words[i + 2].text); // check TYPE NAME
            i += 2;
        } else if (isKeyword(words[i], "if")) {
            ++control.testCount;
        }
    }
    return control;
}

// ---- Waiting ----

const std::array<int, 4> endingSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

/// While it lives, the signals that ask this program to end are not delivered but read from a
/// descriptor. A signal that the caller had set to be ignored stays ignored.
class EndingSignals {
public:
    EndingSignals();
    ~EndingSignals() { sigprocmask(SIG_SETMASK, &maskBefore_, nullptr); }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

    int descriptor() const { return descriptor_.get(); }
    /// Throws the signal that has come as Interrupted.
    [[noreturn]] void raiseAsException() const;

private:
    sigset_t maskBefore_{};
    UniqueFd descriptor_;
};

EndingSignals::EndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : endingSignals) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            sigaddset(&signals, number);
        }
    }
    descriptor_ = UniqueFd(signalfd(-1, &signals, SFD_CLOEXEC));
    if (!descriptor_) {
        throw failureFromErrno("cannot watch for signals");
    }
    sigprocmask(SIG_BLOCK, &signals, &maskBefore_);
}

void EndingSignals::raiseAsException() const {
    signalfd_siginfo info{};
    if (read(descriptor_.get(), &info, sizeof info) != sizeof info) {
        throw failureFromErrno("cannot read a signal");
    }
    throw Interrupted(static_cast<int>(info.ssi_signo));
}

enum class Wake { Ready, MonitEnded, TimeUp };

/// What every wait of this program watches besides its own matter: monit's end (a pidfd), and the
/// signals that ask this program to end (thrown as Interrupted).
struct Watch {
    int monitEnd;
    const EndingSignals& signals;

    /// Waits until `descriptor` can be read (-1: for nothing more) or until `end`.
    Wake wait(int descriptor, Clock::time_point end) const;
};

Wake Watch::wait(int descriptor, Clock::time_point end) const {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now()).count();
    const int timeout = static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
    std::array<pollfd, 3> polled = {{
        {signals.descriptor(), POLLIN, 0},
        {monitEnd, POLLIN, 0},
        {descriptor, POLLIN, 0},
    }};
    const int count = poll(polled.data(), polled.size(), timeout);
    if (count < 0 && errno != EINTR) {
        throw failureFromErrno("cannot wait");
    }
    if (count > 0 && polled[0].revents != 0) {
        signals.raiseAsException();
    }
    if (count > 0 && polled[1].revents != 0) {
        return Wake::MonitEnded;
    }
    return count > 0 ? Wake::Ready : Wake::TimeUp;
}

// ---- Monit ----

/// A child process and its process group: killed and reaped at the end.
class Child {
public:
    explicit Child(pid_t pid) : pid_(pid), end_(pid > 0 ? pidfd_open(pid, 0) : -1) {}
    ~Child() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL); // it may not have come to make its group yet
            kill(-pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    /// Readable once the child has ended; -1 when there is no child.
    int endDescriptor() const { return end_.get(); }

private:
    pid_t pid_;
    UniqueFd end_;
};

/// A stock monit at work on one control file in a private directory.
class Monit {
public:
    /// Starts it; it reads the control file and opens its socket a little later.
    Monit(const PrivateDirectory& directory, const ControlFile& control)
        : directory_(directory), control_(control), child_(start()) {
        if (child_.endDescriptor() < 0) {
            throw failureFromErrno("cannot start the monitor");
        }
    }

    int endDescriptor() const { return child_.endDescriptor(); }
    /// What monit printed so far, with the control file's own path in place of its copy's.
    std::string printed() const;
    /// Asks monit for its status, an XML document. Nothing comes back when it does not listen yet,
    /// when it ends, or when it has not answered at the deadline.
    std::optional<std::string> status(const Watch& watch, Clock::time_point deadline) const;

private:
    pid_t start() const;
    std::string settings() const;
    std::string copyPath() const { return directory_.file("monitrc"); }
    std::string socketPath() const { return directory_.file("socket"); }
    std::string printedPath() const { return directory_.file("printed"); }

    const PrivateDirectory& directory_;
    const ControlFile& control_;
    Child child_;
};

/// What monit needs to know besides the control file. It stands behind the control file's text, as
/// monit heeds the last of two equal settings: whatever the text holds, monit works on its own
/// files. Nothing is quoted, so that a quote left open in the text cannot end here.
std::string Monit::settings() const {
    return "\n"
           // The first cycle starts at once; the next one is farther away than any deadline.
           "set daemon 1000000\n"
           // Without a pid file of its own it would wake the machine's monit instead of checking.
           "set pidfile " +
           directory_.file("pid") + "\nset idfile " + directory_.file("id") + "\nset statefile " +
           directory_.file("state") +
           // Without a user allowed the socket is not opened, and monit says nothing about it.
           "\nset httpd unixsocket " + socketPath() + " allow monit:monit\n" +
           // Monit checks its host as one more service, which has the host's name unless told
           // otherwise; a service of that name in the control file would be refused.
           "check system " + directory_.name() + "\n";
}

/// In a new child: has it killed when `parent` ends, however that comes about, and gives it a
/// process group of its own, so that a terminal's signals reach only the parent.
void dieWith(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // A parent that was gone before that call gives no signal any more.
    if (getppid() != parent) {
        _exit(execFailed);
    }
    setpgid(0, 0);
}

/// In a new child: `input` and `output` become its standard descriptors, the only ones that it
/// hands on; few more can be opened, and no signal is blocked.
void makeSurroundings(int input, int output) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, UINT_MAX, CLOSE_RANGE_CLOEXEC);
    const rlimit limit{monitDescriptors, monitDescriptors};
    setrlimit(RLIMIT_NOFILE, &limit);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

pid_t Monit::start() const {
    if (access(monitPath, X_OK) != 0) {
        throw failureFromErrno(std::string("cannot run the monitor -- ") + monitPath);
    }
    // Not the given file itself: monit might dislike its mode or owner, and settings are added.
    std::string copy = copyPath();
    createFile(copy, control_.text + settings());
    const UniqueFd output = createFile(printedPath(), "");
    const UniqueFd input(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!input) {
        throw failureFromErrno("cannot open /dev/null");
    }
    std::string program = monitPath;
    std::string foreground = "-I";
    std::string option = "-c";
    std::string home = "HOME=" + directory_.path();
    const std::array<char*, 5> arguments = {program.data(), foreground.data(), option.data(),
                                            copy.data(), nullptr};
    const std::array<char*, 2> environment = {home.data(), nullptr};

    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    // From here on only calls that are safe between fork and exec.
    dieWith(parent);
    makeSurroundings(input.get(), output.get());
    execve(monitPath, arguments.data(), environment.data());
    _exit(execFailed);
}

std::string Monit::printed() const {
    std::string text = readFile(printedPath());
    const std::string copy = copyPath();
    for (size_t at = 0; (at = text.find(copy, at)) != std::string::npos;) {
        text.replace(at, copy.size(), control_.path);
        at += control_.path.size();
    }
    return text;
}

/// Gives no descriptor when nobody listens (yet).
UniqueFd connectTo(const std::string& socketPath) {
    UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
        0) {
        return UniqueFd();
    }
    return connection;
}

std::optional<std::string> Monit::status(const Watch& watch, Clock::time_point deadline) const {
    constexpr std::string_view request = "GET /_status?format=xml HTTP/1.0\r\n"
                                         "Authorization: Basic bW9uaXQ6bW9uaXQ=\r\n\r\n";
    const UniqueFd connection = connectTo(socketPath());
    if (!connection || send(connection.get(), request.data(), request.size(), MSG_NOSIGNAL) !=
                           static_cast<ssize_t>(request.size())) {
        return std::nullopt;
    }
    std::string answer;
    std::array<char, 16384> buffer{};
    for (;;) {
        if (watch.wait(connection.get(), deadline) != Wake::Ready) {
            return std::nullopt;
        }
        const ssize_t count = recv(connection.get(), buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            break;
        }
        answer.append(buffer.data(), static_cast<size_t>(count));
    }
    const std::string statusLine = answer.substr(0, answer.find('\r'));
    if (!answer.empty() && statusLine.find(" 200 ") == std::string::npos) {
        throw Failure("unexpected answer of the monitor -- " + statusLine);
    }
    const size_t documentBegin = answer.find("\r\n\r\n");
    // Half a document would be a document of which services are missing.
    if (documentBegin == std::string::npos ||
        answer.find("</monit>", documentBegin) == std::string::npos) {
        return std::nullopt;
    }
    return answer.substr(documentBegin);
}

// ---- Services and their statuses ----

struct Service {
    std::string name;
    std::string status; // decimal
    bool isChecked;
};

/// Takes the text up to `end` off the front of `rest`, and `end` too.
std::string_view takeUntil(std::string_view& rest, std::string_view end) {
    const size_t at = rest.find(end);
    if (at == std::string_view::npos) {
        throw Failure("unexpected status of the monitor -- no " + std::string(end));
    }
    const std::string_view taken = rest.substr(0, at);
    rest.remove_prefix(at + end.size());
    return taken;
}

/// Reads a service's name off the front of `rest`, which begins behind <name>. Version 5 writes
/// names as they are, so one may look like an element itself: what follows it tells its end.
/// Version 6 writes them as CDATA.
std::string_view takeName(std::string_view& rest) {
    constexpr std::string_view cdata = "<![CDATA[";
    if (rest.starts_with(cdata)) {
        rest.remove_prefix(cdata.size());
        return takeUntil(rest, "]]></name>");
    }
    return takeUntil(rest, "</name><collected_sec>");
}

/// Reads the services in monit's status, all but `ownName`. A scan, as the document need not be
/// well-formed.
std::vector<Service> servicesIn(std::string_view status, const std::string& ownName) {
    constexpr std::string_view waitingForFirstCheck = "2";
    std::vector<Service> services;
    for (size_t at = 0; (at = status.find("<service ")) != std::string_view::npos;) {
        status.remove_prefix(at);
        takeUntil(status, "<name>");
        Service service;
        service.name = takeName(status);
        takeUntil(status, "<status>");
        service.status = takeUntil(status, "</status>");
        takeUntil(status, "<monitor>");
        service.isChecked = takeUntil(status, "</monitor>") != waitingForFirstCheck;
        if (service.name != ownName) {
            services.push_back(std::move(service));
        }
    }
    return services;
}

/// Waits until monit has checked every service once, or until the deadline. Throws MonitEnded.
std::vector<Service> watchServices(const Monit& monit, const Watch& watch,
                                   const std::string& ownName, std::vector<Service> services,
                                   Clock::time_point deadline) {
    const Clock::time_point begin = Clock::now();
    for (;;) {
        if (const std::optional<std::string> status = monit.status(watch, deadline)) {
            services = servicesIn(*status, ownName);
            if (std::all_of(services.begin(), services.end(),
                            [](const Service& service) { return service.isChecked; })) {
                return services;
            }
        }
        // No event tells of a finished check. Most are over after a few milliseconds, some after
        // seconds: the longer it has taken, the less a little more matters.
        const Clock::time_point now = Clock::now();
        const Clock::duration pause =
            std::clamp<Clock::duration>((now - begin) / 8, milliseconds(1), milliseconds(200));
        if (watch.wait(-1, std::min(now + pause, deadline)) == Wake::MonitEnded) {
            throw MonitEnded(monit.printed());
        }
        if (now >= deadline) {
            return services;
        }
    }
}

/// Starts monit on the control file, and has it and its files removed again when it returns or
/// throws.
std::vector<Service> checkServices(const ControlFile& control) {
    std::vector<Service> services;
    if (control.isEmpty) {
        return services;
    }
    for (const std::string& name : control.serviceNames) {
        services.push_back({name, "0", false});
    }
    const Clock::time_point deadline = Clock::now() + control.testCount * secondsPerTest + margin;
    const EndingSignals signals;
    const PrivateDirectory directory;
    directory.sweepOthers();
    const Monit monit(directory, control);
    const Watch watch{monit.endDescriptor(), signals};
    return watchServices(monit, watch, directory.name(), std::move(services), deadline);
}

// ---- The document ----

bool isXmlCharacter(char32_t character) {
    return character == '\t' || character == '\n' || character == '\r' ||
           (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) ||
           (character >= 0x10000 && character <= 0x10FFFF);
}

/// How many bytes the character at the front of `text` has; 0 when what is there is not UTF-8 or
/// not a character that XML allows.
size_t xmlCharacterLength(std::string_view text) {
    constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000}; // by length
    const auto first = static_cast<unsigned char>(text.front());
    const int leadingOnes = std::countl_one(first);
    const size_t length = leadingOnes == 0 ? 1 : static_cast<size_t>(leadingOnes);
    if (leadingOnes == 1 || length >= smallest.size() || length > text.size()) {
        return 0;
    }
    char32_t character = first & (0x7FU >> static_cast<unsigned>(leadingOnes));
    for (const char continuation : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(continuation);
        if (std::countl_one(byte) != 1) {
            return 0;
        }
        character = character << 6U | (byte & 0x3FU);
    }
    return character >= smallest[length] && isXmlCharacter(character) ? length : 0;
}

/// `text` as the content of an element: escaped, and with U+FFFD for each byte that cannot be in
/// an XML document.
std::string xmlText(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const size_t length = xmlCharacterLength(text);
        switch (length == 0 ? '\0' : text.front()) {
        case '\0':
            result += "\uFFFD";
            break;
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '\r':
            result += "&#13;";
            break;
        default:
            result += text.substr(0, length);
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return result;
}

std::string documentOf(const std::vector<Service>& services) {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<monit>\n";
    for (const Service& service : services) {
        document += "  <service>\n    <name>" + xmlText(service.name) + "</name>\n    <status>" +
                    xmlText(service.isChecked ? service.status : notCheckedStatus) +
                    "</status>\n  </service>\n";
    }
    return document + "</monit>\n";
}

// ---- The command line ----

/// The FILE of "-c FILE -x check-status", the options in either order.
std::string controlFileArgument(int argc, char** argv) {
    const char* file = nullptr;
    bool isCheck = false;
    opterr = 0;
    for (int option = 0; (option = getopt(argc, argv, "+:c:x:")) != -1;) {
        if (option == 'c') {
            file = optarg;
        } else if (option == 'x' && std::string_view(optarg) == "check-status") {
            isCheck = true;
        } else {
            isCheck = false;
            break;
        }
    }
    if (file == nullptr || !isCheck || optind != argc) {
        throw Failure("usage: monit-check-status -c FILE -x check-status");
    }
    return file;
}

int run(int argc, char** argv) {
    // A caller may ignore it, and then a child's end would leave nothing to wait for.
    std::signal(SIGCHLD, SIG_DFL);
    const ControlFile control = readControlFile(controlFileArgument(argc, argv));
    try {
        const std::string document = documentOf(checkServices(control));
        writeAll(STDOUT_FILENO, document, "the document");
        return EXIT_SUCCESS;
    } catch (const MonitEnded& ended) {
        std::cerr << ended.what();
        throw Failure("the monitor ended before it had checked -- " + control.path);
    }
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    try {
        return run(argc, argv);
    } catch (const Interrupted& interrupted) {
        std::raise(interrupted.signalNumber); // cleaned up: now it may end us as it would have
    } catch (const std::exception& error) {
        std::cerr << "monit-check-status: " << error.what() << '\n';
    }
    return EXIT_FAILURE;
}
