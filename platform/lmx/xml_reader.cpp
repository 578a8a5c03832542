// SPDX-License-Identifier: MIT
#include "lmx/xml_reader.h"

#include "kfio/xml_encoding.h"
#include "lmx/event_queue.h"
#include "lmx/message_text.h"

#include <algorithm>
#include <cassert>
#include <expat.h>
#include <strings.h>

namespace lmx {

namespace {

/// Separator of uri, name and prefix in the parser's reports; the parser refuses a uri that
/// contains it.
constexpr char uriSeparator = '\n';
/// Small enough for the events of one stretch to stay in the cache.
constexpr std::size_t stretchBytes = 16384;
/// Growth of the next stretch while no event comes: with every stretch the parser starts an
/// unfinished comment, tag or name again.
constexpr std::size_t stretchGrowth = 4;
/// The parser pauses here: a long stretch may end in very many short elements.
constexpr std::size_t maxQueued = 8192;
/// Limit for the names of open elements, which are only for messages.
constexpr std::size_t maxShownName = 64;

/// Converts a byte offset to a line; rising offsets cost each byte once.
class LineCounter {
public:
    explicit LineCounter(std::string_view document) : document_(document) {
        wide_ = document.starts_with("\xFF\xFE") || document.starts_with("\xFE\xFF");
    }
    std::size_t line(std::size_t offset) {
        if (offset < counted_)
            counted_ = lines_ = 0;
        for (; counted_ < std::min(offset, document_.size()); ++counted_)
            lines_ += document_[counted_] == '\n' && (!wide_ || isWideNewline());
        return lines_ + 1;
    }

private:
    bool isWideNewline() const {
        const auto other = counted_ ^ 1; // the other half of the same UTF-16 unit
        return other < document_.size() && document_[other] == '\0';
    }
    std::string_view document_;
    std::size_t counted_ = 0, lines_ = 0;
    bool wide_;
};

} // namespace

/// The elements around the current event, by names as messages show them.
class OpenElements {
public:
    void enter(std::string_view prefix, std::string_view name, bool known) {
        if (names_.size() == depth_)
            names_.emplace_back();
        auto& entered = names_[depth_++]; // its memory is used again
        entered.known = known;
        entered.text.assign(prefix.substr(0, maxShownName));
        if (!prefix.empty())
            entered.text += ':';
        entered.text.append(name.substr(0, maxShownName));
    }
    void leave() { depth_ -= depth_ > 0 ? 1 : 0; }
    struct Name {
        std::string text;
        bool known = false; ///< in the namespace that is read: without the document's own prefix
    };
    const Name* innermost() const { return depth_ > 0 ? &names_[depth_ - 1] : nullptr; }

private:
    std::vector<Name> names_;
    std::size_t depth_ = 0;
};

/// Feeds the document to expat stretch by stretch and queues what it reports.
class c_xml_reader::s_parser {
public:
    explicit s_parser(std::string_view document)
        : lines(document), document_(document), rest_(document),
          parser_(XML_ParserCreateNS(nullptr, uriSeparator)) {
        if (!parser_)
            throw std::bad_alloc();
        XML_SetReturnNSTriplet(parser_, 1);
        XML_SetUserData(parser_, this);
        XML_SetUnknownEncodingHandler(parser_, kfio::teachEncoding, nullptr);
        XML_SetXmlDeclHandler(parser_, onDeclaration);
        XML_SetStartNamespaceDeclHandler(parser_, onNamespace);
        XML_SetElementHandler(parser_, onStart, onEnd);
        XML_SetCharacterDataHandler(parser_, onText);
        XML_SetStartDoctypeDeclHandler(parser_, onDoctype);
    }
    ~s_parser() { XML_ParserFree(parser_); }
    s_parser(const s_parser&) = delete;
    s_parser& operator=(const s_parser&) = delete;

    /// Fills the queue until it holds an event, the document ends or error is set.
    void fill() {
        queue.clear();
        for (std::size_t size = stretchBytes;
             queue.empty() && error == elmx_error::ok && (paused_ || !finished_);
             size *= stretchGrowth) {
            const auto status = paused_ ? XML_ResumeParser(parser_) : feed(size);
            paused_ = status == XML_STATUS_SUSPENDED;
            if (status == XML_STATUS_ERROR)
                fail();
        }
        if (queue.empty() && error == elmx_error::ok)
            errorOffset = document_.size();
    }

    EventQueue queue;
    OpenElements open;
    LineCounter lines;
    elmx_error error = elmx_error::ok; ///< comes after the events that are queued
    std::string element, detail;       ///< element: empty when it is the innermost open one
    std::size_t errorOffset = 0;       ///< or the end

private:
    XML_Status feed(std::size_t size) {
        const auto stretch = rest_.substr(0, size);
        rest_.remove_prefix(stretch.size());
        finished_ = rest_.empty();
        return XML_Parse(parser_, stretch.data(), static_cast<int>(stretch.size()), finished_);
    }

    std::size_t offset() const {
#if XML_MAJOR_VERSION > 2 || XML_MINOR_VERSION >= 9
        const auto index = XML_GetCurrentByteIndex64(parser_);
#else
        const auto index = XML_GetCurrentByteIndex(parser_);
#endif
        return index < 0 ? 0 : static_cast<std::size_t>(index);
    }

    void fail() {
        errorOffset = offset();
        element = tagBefore(errorOffset);
        if (error != elmx_error::ok)
            return; // one of the handlers stopped the parser and said why
        const auto code = XML_GetErrorCode(parser_);
        error = code == XML_ERROR_NO_MEMORY             ? elmx_error::outOfMemory
                : code == XML_ERROR_DUPLICATE_ATTRIBUTE ? elmx_error::attributeRepeated
                                                        : elmx_error::notWellFormed;
        detail = XML_ErrorString(code);
    }

    /// The name in the tag with the error; empty without one, or when its bytes are no text.
    std::string_view tagBefore(std::size_t position) const {
        const auto tag = document_.rfind('<', position);
        if (tag == std::string_view::npos ||
            document_.substr(tag, position - tag).find('>') != std::string_view::npos)
            return {};
        const auto text = document_.substr(tag + 1).substr(0, maxShownName);
        const auto begin = text.starts_with('/') ? 1u : 0u;
        const auto name = text.substr(begin, text.find_first_of(" \t\r\n/><!", begin) - begin);
        const auto isText = [this](char c) {
            return static_cast<unsigned char>(c) < 0x80 ? c >= ' ' : !otherEncoding_;
        };
        return std::ranges::all_of(name, isText) ? name : std::string_view();
    }

    void stop(elmx_error reason) {
        error = reason;
        XML_StopParser(parser_, XML_FALSE);
    }

    /// No exception may pass through the parser, which is C.
    template <class Body>
    static void guarded(void* self, Body body) {
        auto& parser = *static_cast<s_parser*>(self);
        if (parser.error != elmx_error::ok)
            return;
        try {
            body(parser);
        } catch (const std::bad_alloc&) {
            parser.stop(elmx_error::outOfMemory);
        }
    }

    void add(e_event kind, const char* name, std::size_t attributes) {
        const auto text = queue.keep(pendingText_);
        pendingText_.clear();
        queue.add({kind, queue.keepName(name, uriSeparator), text, 0, attributes, offset()});
        if (queue.size() == maxQueued)
            XML_StopParser(parser_, XML_TRUE);
    }

    static void onStart(void* self, const char* name, const char** attributes) {
        guarded(self, [=](s_parser& parser) {
            if (++parser.depth_ > maxDepth)
                return parser.stop(elmx_error::tooDeep);
            std::size_t count = 0;
            for (auto next = attributes; *next; next += 2, ++count)
                parser.queue.addAttribute(next[0], next[1], uriSeparator);
            parser.add(e_event::start, name, count);
        });
    }
    static void onEnd(void* self, const char* name) {
        guarded(self, [=](s_parser& parser) {
            --parser.depth_;
            parser.add(e_event::end, name, 0);
        });
    }
    static void onText(void* self, const char* text, int size) {
        guarded(self, [=](s_parser& parser) {
            parser.pendingText_.append(text, static_cast<std::size_t>(size));
        });
    }
    static void onDoctype(void* self, const char*, const char*, const char*, int) {
        guarded(self, [](s_parser& parser) { parser.stop(elmx_error::doctypeRefused); });
    }

    /// The parser repeats the namespace's name for every element, so a long name would take
    /// quadratic time.
    static void onNamespace(void* self, const char*, const char* uri) {
        guarded(self, [=](s_parser& parser) {
            if (!uri || std::string_view(uri).size() <= maxUriBytes)
                return;
            parser.detail =
                "the name of a namespace has more than " + std::to_string(maxUriBytes) + " bytes";
            parser.stop(elmx_error::tooLarge);
        });
    }
    static void onDeclaration(void* self, const char*, const char* encoding, int) {
        if (!encoding)
            return;
        const auto is = [encoding](const char* name) { return strcasecmp(encoding, name) == 0; };
        static_cast<s_parser*>(self)->otherEncoding_ = !is("UTF-8") && !is("US-ASCII");
    }

    std::string_view document_, rest_;
    std::string pendingText_;
    XML_Parser parser_;
    int depth_ = 0;
    bool finished_ = false, paused_ = false;
    bool otherEncoding_ = false; ///< than UTF-8
};

c_xml_reader::c_xml_reader(std::string_view document, std::string file, error_handler handler)
    : parser_(std::make_unique<s_parser>(document.substr(0, maxBytes))), file_(std::move(file)),
      handler_(std::move(handler)) {
    if (document.size() > maxBytes)
        parser_->error = elmx_error::tooLarge;
    parser_->fill();
    if (parser_->queue.empty())
        report_fatal();
}

c_xml_reader::~c_xml_reader() = default;

c_xml_reader::e_event c_xml_reader::event() const {
    return parser_->queue.empty() ? e_event::stop : parser_->queue.front().kind;
}

std::string_view c_xml_reader::uri() const {
    return parser_->queue.view(parser_->queue.front().name.uri);
}

std::string_view c_xml_reader::local_name() const {
    return parser_->queue.view(parser_->queue.front().name.local);
}

std::string_view c_xml_reader::text() const {
    return parser_->queue.view(parser_->queue.front().text);
}

std::size_t c_xml_reader::attribute_count() const {
    return parser_->queue.front().attributes;
}

s_attribute c_xml_reader::attribute(std::size_t index) const {
    const auto& found = parser_->queue.attribute(index);
    const auto& queue = parser_->queue;
    return {queue.view(found.name.uri), queue.view(found.name.local), queue.view(found.value),
            queue.view(found.name.prefix)};
}

void c_xml_reader::next() {
    if (parser_->queue.empty())
        return;
    if (event() == e_event::start)
        parser_->open.enter(is_known() ? std::string_view() : prefix(), local_name(), is_known());
    else
        parser_->open.leave();
    parser_->queue.pop();
    if (!parser_->queue.empty())
        return;
    parser_->fill();
    if (parser_->queue.empty())
        report_fatal();
}

void c_xml_reader::skip_element() {
    int depth = 0;
    do {
        depth += event() == e_event::start ? 1 : -1;
        next();
    } while (depth > 0 && event() != e_event::stop);
}

void c_xml_reader::select_attribute(std::size_t index) {
    selected_ = index;
}
s_attribute c_xml_reader::selected_attribute() const {
    return attribute(selected_);
}

void c_xml_reader::set_namespace(const s_ns_map& space) {
    space_ = space;
}

bool c_xml_reader::at_element(std::string_view name) const {
    return event() == e_event::start && local_name() == name && is_known();
}

std::string c_xml_reader::qualified_name(std::string_view name) const {
    std::string result = space_.prefix;
    return result.append(result.empty() ? "" : ":").append(name);
}

std::string c_xml_reader::element_name() const {
    if (is_known())
        return qualified_name(local_name());
    std::string result(prefix());
    return result.append(result.empty() ? "" : ":").append(local_name());
}

std::string c_xml_reader::open_element() const {
    const auto* name = parser_->open.innermost();
    if (!name)
        return {};
    return name->known ? qualified_name(name->text) : name->text;
}

bool c_xml_reader::is_known() const {
    return uri() == space_.uri;
}
std::string_view c_xml_reader::prefix() const {
    return parser_->queue.view(parser_->queue.front().name.prefix);
}

elmx_error c_xml_reader::fatal_error() const {
    return fatal_;
}

elmx_error c_xml_reader::handle_error(elmx_error code, std::string element, std::string detail) {
    if (!handler_)
        return code;
    const auto offset =
        parser_->queue.empty() ? parser_->errorOffset : parser_->queue.front().offset;
    return handler_({code, shown(element, maxShownName + 16), shown(detail, 120), file_,
                     parser_->lines.line(offset)});
}

void c_xml_reader::report_fatal() {
    fatal_ = parser_->error;
    if (fatal_ != elmx_error::ok)
        handle_error(fatal_, parser_->element.empty() ? open_element() : parser_->element,
                     parser_->detail);
}

} // namespace lmx
