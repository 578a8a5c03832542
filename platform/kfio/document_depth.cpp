#include "kfio/document_depth.h"

#include <algorithm>

namespace kfio {
namespace {

bool startsWith(std::string_view text, std::string_view what) {
    return text.substr(0, what.size()) == what;
}

/// @return the rest behind `what`, empty when it does not come.
std::string_view behind(std::string_view text, std::string_view what) {
    const auto at = text.find(what);
    return at == std::string_view::npos ? std::string_view() : text.substr(at + what.size());
}

/// @return the offset of the ">" that closes a tag, quotes skipped; the size when none does.
std::size_t tagEnd(std::string_view tag) {
    char quote = '\0';
    for (std::size_t i = 0; i < tag.size(); ++i) {
        if (quote != '\0')
            quote = tag[i] == quote ? '\0' : quote;
        else if (tag[i] == '"' || tag[i] == '\'')
            quote = tag[i];
        else if (tag[i] == '>')
            return i;
    }
    return tag.size();
}

} // namespace

std::size_t xmlDepth(std::string_view text) {
    std::size_t depth = 0;
    std::size_t deepest = 0;
    for (auto at = text.find('<'); at != std::string_view::npos; at = text.find('<')) {
        text.remove_prefix(at);
        const char mark = text.size() > 1 ? text[1] : '\0';
        if (mark == '/') {
            depth -= depth > 0 ? 1 : 0;
            text = behind(text, ">");
        } else if (mark == '?') {
            text = behind(text, "?>");
        } else if (mark == '!' && startsWith(text, "<!--")) {
            text = behind(text, "-->");
        } else if (mark == '!' && startsWith(text, "<![CDATA[")) {
            text = behind(text, "]]>");
        } else {
            const std::size_t end = tagEnd(text);
            if (mark != '!' && text[end - 1] != '/')
                deepest = std::max(deepest, ++depth);
            text.remove_prefix(std::min(end + 1, text.size()));
        }
    }
    return deepest;
}

std::size_t jsonDepth(std::string_view text) {
    std::size_t depth = 0;
    std::size_t deepest = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            deepest = std::max(deepest, ++depth);
        } else if ((c == '}' || c == ']') && depth > 0) {
            --depth;
        }
    }
    return deepest;
}

} // namespace kfio
