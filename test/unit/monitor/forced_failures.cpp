// SPDX-License-Identifier: MIT

#include "monitor/forced_failures.h"

#include <cerrno>
#include <libxml/xpath.h>
#include <new>
#include <string_view>
#include <unistd.h>

namespace keldo::test {

ForcedFailures forcedFailures;

} // namespace keldo::test

using keldo::test::forcedFailures;

extern "C" {
xmlXPathContextPtr __real_xmlXPathNewContext(xmlDocPtr document);
xmlXPathContextPtr __wrap_xmlXPathNewContext(xmlDocPtr document);
int __real_xmlXPathRegisterNs(xmlXPathContextPtr context, const xmlChar* prefix,
                              const xmlChar* uri);
int __wrap_xmlXPathRegisterNs(xmlXPathContextPtr context, const xmlChar* prefix,
                              const xmlChar* uri);
xmlXPathObjectPtr __real_xmlXPathEvalExpression(const xmlChar* expression,
                                                xmlXPathContextPtr context);
xmlXPathObjectPtr __wrap_xmlXPathEvalExpression(const xmlChar* expression,
                                                xmlXPathContextPtr context);
char* __real_strdup(const char* text);
char* __wrap_strdup(const char* text);
int __real_pipe(int* ends);
int __wrap_pipe(int* ends);
ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __wrap_read(int fd, void* buffer, size_t size);
}

xmlXPathContextPtr __wrap_xmlXPathNewContext(xmlDocPtr document) {
    return forcedFailures.newXPathContext ? nullptr : __real_xmlXPathNewContext(document);
}

int __wrap_xmlXPathRegisterNs(xmlXPathContextPtr context, const xmlChar* prefix,
                              const xmlChar* uri) {
    return forcedFailures.registerNamespace ? -1 : __real_xmlXPathRegisterNs(context, prefix, uri);
}

xmlXPathObjectPtr __wrap_xmlXPathEvalExpression(const xmlChar* expression,
                                                xmlXPathContextPtr context) {
    const bool isCount = xmlStrncmp(expression, reinterpret_cast<const xmlChar*>("count("), 6) == 0;
    return forcedFailures.elements && !isCount ? nullptr
                                               : __real_xmlXPathEvalExpression(expression, context);
}

char* __wrap_strdup(const char* text) {
    if (forcedFailures.controlFileName && std::string_view(text).ends_with("monitrcXXXXXX")) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_strdup(text);
}

int __wrap_pipe(int* ends) {
    if (forcedFailures.pipe) {
        errno = EMFILE;
        return -1;
    }
    return __real_pipe(ends);
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    if (forcedFailures.read) {
        forcedFailures.read = false;
        throw std::bad_alloc();
    }
    return __real_read(fd, buffer, size);
}
