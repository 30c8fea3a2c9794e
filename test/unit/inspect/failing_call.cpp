// SPDX-License-Identifier: MIT

#include "failing_call.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <libxml/parser.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace {

std::string_view failing;
int errorNumber = 0;
int timesLeft = 0;
int goodLeft = 0;

bool fails(std::string_view function) {
    if (function != failing || timesLeft == 0) {
        return false;
    }
    if (goodLeft > 0) {
        --goodLeft;
        return false;
    }
    --timesLeft; // never reaches 0 if it was negative
    errno = errorNumber;
    return true;
}

} // namespace

extern "C" {

pid_t __real_fork();
pid_t __wrap_fork() {
    return fails("fork") ? -1 : __real_fork();
}

pid_t __real_getppid();
pid_t __wrap_getppid() {
    return fails("getppid") ? 1 : __real_getppid();
}

int __real_fcntl(int descriptor, int command, ...);
int __wrap_fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    return fails("fcntl") ? -1 : __real_fcntl(descriptor, command, argument);
}

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return fails("open") ? -1 : __real_open(path, flags, mode);
}

int __real_dup2(int descriptor, int target);
int __wrap_dup2(int descriptor, int target) {
    return fails("dup2") ? -1 : __real_dup2(descriptor, target);
}

int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol) {
    return fails("socket") ? -1 : __real_socket(domain, type, protocol);
}

ssize_t __real_read(int descriptor, void* bytes, size_t size);
ssize_t __wrap_read(int descriptor, void* bytes, size_t size) {
    return fails("read") ? -1 : __real_read(descriptor, bytes, size);
}

ssize_t __real_write(int descriptor, const void* bytes, size_t size);
ssize_t __wrap_write(int descriptor, const void* bytes, size_t size) {
    return fails("write") ? -1 : __real_write(descriptor, bytes, size);
}

xmlDocPtr __real_xmlReadMemory(const char* text, int size, const char* url, const char* encoding,
                               int options);
xmlDocPtr __wrap_xmlReadMemory(const char* text, int size, const char* url, const char* encoding,
                               int options) {
    return fails("xmlReadMemory") ? nullptr
                                  : __real_xmlReadMemory(text, size, url, encoding, options);
}

void __real_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar** text, int* size,
                                      const char* encoding, int format);
void __wrap_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar** text, int* size,
                                      const char* encoding, int format) {
    if (!fails("xmlDocDumpFormatMemoryEnc")) {
        __real_xmlDocDumpFormatMemoryEnc(document, text, size, encoding, format);
    }
}
}

namespace keldo::inspect {

FailingCall::FailingCall(const char* function, int error, int times, int good) {
    failing = function;
    errorNumber = error;
    timesLeft = times;
    goodLeft = good;
}

FailingCall::~FailingCall() {
    failing = "";
}

} // namespace keldo::inspect
