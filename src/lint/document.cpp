// SPDX-License-Identifier: MIT

#include "lint/document.h"

#include "exec/unique_fd.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <map>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace keldo::lint {

namespace {

constexpr std::size_t maximumFileSize = 256UL * 1024;
constexpr int maximumAttributes = 100;
// Below the million bytes at which newer versions of libxml2, and so keldoctl, refuse a document.
constexpr std::size_t maximumTextSize = 512UL * 1024;

constexpr const char* fileTooLarge = "the file is larger than 256 KiB, so it was not checked";
constexpr const char* fileCompressed = "the file is compressed, so it was not checked";
constexpr const char* tooManyAttributes =
    "an element has more than 100 attributes, so the file was not checked";
constexpr const char* textTooLarge =
    "entities and default attributes expand to more than 512 KiB, so the file was not checked";

struct ParserCloser {
    void operator()(xmlParserCtxt* parser) const noexcept { xmlFreeParserCtxt(parser); }
};

/// Collects libxml2's errors while it exists; otherwise libxml2 prints them.
class CollectedErrors {
public:
    explicit CollectedErrors(Findings* findings) {
        xmlSetStructuredErrorFunc(findings, [](void* collected, auto* error) {
            const std::string message = error->message;
            static_cast<Findings*>(collected)->push_back(
                {error->line, Level::error, message.substr(0, message.find_last_not_of('\n') + 1)});
        });
    }
    CollectedErrors(const CollectedErrors&) = delete;
    CollectedErrors& operator=(const CollectedErrors&) = delete;
    ~CollectedErrors() { xmlSetStructuredErrorFunc(nullptr, nullptr); }
};

/// Returns the content of the file, or its first maximumFileSize + 1 bytes. Reads it without
/// libxml2, which gives no reason for a failure and takes a directory for an empty file.
std::string contentOf(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string content(maximumFileSize + 1, '\0');
    std::size_t size = 0;
    ssize_t count = file ? 1 : -1;
    while (count > 0 && size < content.size()) {
        count = read(file.get(), content.data() + size, content.size() - size);
        size += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    if (count < 0) {
        throw std::runtime_error("cannot read the file -- " +
                                 std::generic_category().message(errno));
    }
    content.resize(size);
    return content;
}

/// The progress of a parser, and the limit that stopped it.
struct Progress {
    std::size_t attributeText = 0; ///< bytes of attribute values, default ones included
    const char* exceeded = nullptr;
    long line = 1; ///< where the limit was exceeded
};

/// Checks the limits of an element before xmlSAX2StartElementNs copies its attributes into the
/// document. Stops the parser if one is exceeded.
void startElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                  int namespaceCount, const xmlChar** namespaces, int attributeCount,
                  int defaultCount, const xmlChar** attributes) {
    auto* const parser = static_cast<xmlParserCtxt*>(context);
    Progress& progress = *static_cast<Progress*>(parser->_private);
    constexpr std::ptrdiff_t fields = 5; // of each attribute; the last two delimit its value
    for (int i = 0; i < attributeCount; ++i) {
        const xmlChar* const* const attribute = attributes + fields * i;
        progress.attributeText += static_cast<std::size_t>(attribute[4] - attribute[3]);
    }
    if (namespaceCount + attributeCount > maximumAttributes) {
        progress.exceeded = tooManyAttributes;
    } else if (progress.attributeText > maximumTextSize) {
        progress.exceeded = textTooLarge;
    }
    if (progress.exceeded != nullptr) {
        progress.line = xmlSAX2GetLineNumber(parser);
        xmlStopParser(parser);
        return;
    }
    xmlSAX2StartElementNs(context, name, prefix, uri, namespaceCount, namespaces, attributeCount,
                          defaultCount, attributes);
}

/// Computes the size of texts with all entities expanded, without expanding them. The parser limits
/// the nesting of elements and entities, and so it limits the depth of this recursion.
// NOLINTBEGIN(misc-no-recursion): a loop would need a stack of its own
class ExpandedSize {
public:
    /// Returns the bytes of text in `nodes` (siblings) and below them, plus nodeSize for each node.
    /// Stops counting above the limit.
    std::size_t of(const xmlNode* nodes) {
        std::size_t size = 0;
        for (const xmlNode* node = nodes; node != nullptr && size <= maximumTextSize;
             node = node->next) {
            size += nodeSize + ofNode(node);
        }
        return size;
    }

private:
    static constexpr std::size_t nodeSize = 4; ///< bytes of the shortest element, <a/>

    std::size_t ofNode(const xmlNode* node) {
        switch (node->type) {
        case XML_ENTITY_REF_NODE:
            return ofEntity(xmlGetDocEntity(node->doc, node->name));
        case XML_ELEMENT_NODE:
            return ofElement(node);
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
            return viewXml(node->content).size();
        default:
            return 0;
        }
    }

    std::size_t ofElement(const xmlNode* element) {
        std::size_t size = of(element->children);
        for (const xmlAttr* attribute = element->properties;
             attribute != nullptr && size <= maximumTextSize; attribute = attribute->next) {
            size += nodeSize + of(attribute->children);
        }
        return size;
    }

    /// The parser has refused entities that contain themselves, so this ends.
    std::size_t ofEntity(const xmlEntity* entity) {
        if (entity == nullptr) {
            return 0;
        }
        const auto known = sizes_.find(entity);
        return known != sizes_.end() ? known->second
                                     : sizes_.emplace(entity, of(entity->children)).first->second;
    }

    std::map<const xmlEntity*, std::size_t> sizes_;
};
// NOLINTEND(misc-no-recursion)

/// Parses a text. Returns null if it is not well-formed, or if it exceeds a limit; `progress` then
/// names the limit.
XmlDocument parse(const std::string& text, const std::string& path, Progress& progress) {
    const std::unique_ptr<xmlParserCtxt, ParserCloser> parser(xmlNewParserCtxt());
    parser->_private = &progress;
    parser->sax->startElementNs = startElement;
    XmlDocument document(xmlCtxtReadMemory(parser.get(), text.data(), static_cast<int>(text.size()),
                                           path.c_str(), nullptr, 0));
    if (document && progress.exceeded == nullptr &&
        ExpandedSize().of(xmlDocGetRootElement(document.get())) > maximumTextSize) {
        progress.exceeded = textTooLarge;
    }
    return progress.exceeded == nullptr ? std::move(document) : nullptr;
}

/// Says in each of libxml2's complaints what it means for keldoctl. libxml2 also complains about
/// documents that it reads, for example if a prefix has no namespace.
void explain(Findings& complaints, bool isWellFormed) {
    for (Finding& complaint : complaints) {
        complaint.level = isWellFormed ? Level::warning : Level::error;
        complaint.text.insert(0, isWellFormed ? "keldoctl reads this, but it is not good XML -- "
                                              : "this is not XML -- ");
    }
}

} // namespace

XmlDocument readDocument(const std::string& path, Findings& findings) {
    const std::string text = contentOf(path);
    // The magic number of gzip. libxml2 reads such a file only before version 2.15.
    const bool isCompressed = text.starts_with("\x1F\x8B");
    if (isCompressed || text.size() > maximumFileSize) {
        findings.push_back({1, Level::error, isCompressed ? fileCompressed : fileTooLarge});
        return nullptr;
    }
    const CollectedErrors errors(&findings);
    Progress progress;
    XmlDocument document = parse(text, path, progress);
    if (progress.exceeded != nullptr) {
        findings = {{progress.line, Level::error, progress.exceeded}};
        return nullptr;
    }
    explain(findings, document != nullptr);
    return document;
}

} // namespace keldo::lint
