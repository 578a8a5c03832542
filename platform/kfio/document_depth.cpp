#include "kfio/document_depth.h"

#include <algorithm>

namespace kfio {
namespace {

constexpr std::string_view blanks = " \t\r\n";

std::size_t countOf(std::string_view text, char what) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), what));
}

/// @return the rest behind the first `what` from an offset on, empty when it does not come.
std::string_view behind(std::string_view text, std::string_view what, std::size_t offset) {
    const auto at = text.find(what, offset);
    return at == std::string_view::npos ? std::string_view() : text.substr(at + what.size());
}

/// @return the offset of the ">" that closes a start tag, quotes skipped; the size when none does.
/// A quote begins behind "=" only, and not in the element's name: elsewhere the parser takes both
/// for letters.
std::size_t tagEnd(std::string_view tag) {
    std::size_t at = tag.find_first_of(" \t\r\n/>?", 1);
    while ((at = tag.find_first_of(">=", at)) != std::string_view::npos && tag[at] == '=') {
        at = tag.find_first_not_of(blanks, at + 1);
        if (at != std::string_view::npos && (tag[at] == '"' || tag[at] == '\''))
            at = tag.find(tag[at], at + 1);
    }
    return std::min(at, tag.size());
}

/// Brackets, which may hold ">", count wherever they stand, in quotes too.
std::string_view behindDoctype(std::string_view text, std::size_t offset) {
    std::size_t open = 0;
    for (std::size_t at = offset; at < text.size(); ++at) {
        if (text[at] == '>' && open == 0)
            return text.substr(at + 1);
        if (text[at] == '[')
            ++open;
        else if (text[at] == ']' && open > 0)
            --open;
    }
    return {};
}

/// @return the rest behind a "<!...>" at the beginning of the text.
std::string_view behindDeclaration(std::string_view text) {
    constexpr std::string_view comment = "<!--", characters = "<![CDATA[", doctype = "<!DOCTYPE";
    if (text.starts_with(comment))
        return behind(text, "-->", comment.size());
    if (text.starts_with(characters))
        return behind(text, "]]>", characters.size());
    if (text.starts_with(doctype) && blanks.find(text.substr(doctype.size(), 1)) != blanks.npos)
        return behindDoctype(text, doctype.size());
    return behind(text, ">", 2);
}

} // namespace

// Follows the parser step by step: what the parser skips must be skipped here, and nothing else,
// since an end tag counts down.
std::size_t xmlDepth(std::string_view text) {
    std::size_t depth = 0;
    std::size_t deepest = 0;
    for (auto at = text.find('<'); at != std::string_view::npos; at = text.find('<')) {
        text.remove_prefix(at);
        const char mark = text.size() > 1 ? text[1] : '\0';
        if (mark == '/') {
            depth -= depth > 0 ? 1 : 0;
            text = behind(text, ">", 2);
        } else if (mark == '?') {
            text = behind(text, "?>", 2);
        } else if (mark == '!') {
            text = behindDeclaration(text);
        } else {
            const std::size_t end = tagEnd(text);
            if (text[end - 1] != '/')
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

// Marks that are part of a text count too: no document has as many of them.
std::size_t xmlItems(std::string_view text) {
    return countOf(text, '<') + countOf(text, '=');
}

std::size_t jsonItems(std::string_view text) {
    return countOf(text, '[') + countOf(text, '{') + countOf(text, ',');
}

} // namespace kfio
