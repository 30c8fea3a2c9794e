// SPDX-License-Identifier: MIT

#include "conf/messages.h"

#include "conf/handles.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libgen.h>
#include <strings.h>
#include <syslog.h>

namespace {

struct message_buffer {
    heap_text text;
    size_t capacity; /* bytes allocated, the terminator included */
    size_t length;   /* bytes of text in use */
};

/* Returns 0, or -1 with the buffer unchanged. */
int enlarge(message_buffer* buffer, size_t capacity) {
    auto* text = static_cast<char*>(realloc(buffer->text.get(), capacity));
    if (text == nullptr) {
        return -1;
    }
    static_cast<void>(buffer->text.release());
    buffer->text.reset(text);
    buffer->capacity = capacity;
    return 0;
}

/* Formats into the buffer and enlarges it as needed. Without memory the text is cut to the buffer.
 */
[[gnu::format(printf, 2, 0)]] void format_message(message_buffer* buffer, const char* format,
                                                  va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = vsnprintf(buffer->text.get(), buffer->capacity, format, args);
    buffer->length = length < 0 ? 0 : static_cast<size_t>(length);
    if (buffer->length >= buffer->capacity) {
        if (enlarge(buffer, buffer->length + 1) == 0) {
            vsnprintf(buffer->text.get(), buffer->capacity, format, again);
        } else {
            buffer->length = buffer->capacity - 1;
        }
    }
    va_end(again);
}

/* Appends the error's number and text if they fit into the buffer. If they do not fit, the buffer
 * grows by one byte and nothing is appended: a message without a suffix is better than one with
 * half a suffix. */
void append_system_error(message_buffer* buffer, int error) {
    const char* const format = "\nSystem error %d: %s";
    size_t room = buffer->capacity - buffer->length;
    const int length =
        snprintf(buffer->text.get() + buffer->length, room, format, error, strerror(error));
    if (length < 0 || static_cast<size_t>(length) < room) {
        return;
    }
    static_cast<void>(enlarge(buffer, buffer->capacity + 1));
    buffer->text.get()[buffer->length] = '\0';
}

void print_prefix(FILE* stream) {
    if (program_path == nullptr) {
        return;
    }
    const heap_text path(strdup(program_path)); /* POSIX basename() may write to its argument */
    fprintf(stream, "%s: ", path != nullptr ? basename(path.get()) : program_path);
}

void print_on(FILE* stream, const char* message) {
    print_prefix(stream);
    fputs(message, stream);
    const size_t length = strlen(message);
    if (length == 0 || message[length - 1] != '\n') {
        fputc('\n', stream);
    }
    fflush(stream);
}

void print_message(int exit_status, const char* message) {
    print_on(stderr, message);
    if (messages_on_stdout != 0) {
        print_on(stdout, message);
    }
    if (exit_status != 0) {
        exit(exit_status);
    }
}

[[gnu::format(printf, 2, 0)]] void log_on(FILE* stream, const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    vfprintf(stream, format, copy);
    va_end(copy);
    fputc('\n', stream);
    fflush(stream);
}

} // namespace

char* msg_asprintf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    char* const text = msg_vasprintf(format, args);
    va_end(args);
    return text;
}

char* msg_vasprintf(const char* format, va_list args) {
    char* text = nullptr;
    if (vasprintf(&text, format, args) == -1) {
        report_error(1, 0, "Cannot allocate memory: %s", strerror(errno));
    }
    return text;
}

void report_error(int exit_status, int unused, const char* format, ...) {
    va_list args;
    va_start(args, format);
    report_verror(exit_status, unused, format, args);
    va_end(args);
}

void report_verror(int exit_status, int /*unused*/, const char* format, va_list args) {
    const size_t initial_capacity = 4096;
    const int error = errno;
    message_buffer buffer = {
        .text = heap_text(static_cast<char*>(malloc(initial_capacity))),
        .capacity = initial_capacity,
        .length = 0,
    };
    if (buffer.text == nullptr) {
        print_message(exit_status, "Can't allocate memory for error message");
        return;
    }
    buffer.text.get()[0] = '\0';
    format_message(&buffer, format, args);
    errno = error;
    if (error != 0) {
        append_system_error(&buffer, error);
    }
    print_message(exit_status, buffer.text.get());
}

void log_console(int priority, const char* format, ...) {
    va_list args;
    va_start(args, format);
    log_vconsole(priority, format, args);
    va_end(args);
}

void log_vconsole(int priority, const char* format, va_list args) {
    if (priority > log_level) {
        return;
    }
    log_on(stderr, format, args);
    if (messages_on_stdout != 0) {
        log_on(stdout, format, args);
    }
}

void log_setup(const char* destination, int level, int facility, int options,
               const char* identity) {
    log_facility = facility;
    log_level = level > 0 ? level : 0;
    log_to_console = level > 0 ? 1 : 0;
    if (destination != nullptr) {
        log_fn = log_console;
        vlog_fn = log_vconsole;
        if (strncasecmp(destination, "console", strlen("console")) != 0) {
            log_to_console = 0;
        }
        return;
    }
    closelog();
    openlog(identity, options | LOG_PID, log_facility);
    log_fn = syslog;
    vlog_fn = vsyslog;
}
