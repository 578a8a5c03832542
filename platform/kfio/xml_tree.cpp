// SPDX-License-Identifier: MIT
#include "kfio/xml_tree.h"

#include "kfio/xml_encoding.h"

#include <boost/property_tree/xml_parser.hpp>
#include <expat.h>

#include <memory>
#include <new>
#include <vector>

namespace kfio {
namespace {

namespace pt = boost::property_tree;

struct ParserFree {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ParserPtr = std::unique_ptr<XML_ParserStruct, ParserFree>;

ProductTree& append(ProductTree& tree, const char* name) {
    static const ProductTree empty;
    return tree.push_back({name, empty})->second;
}

/// Builds the tree from the parser's events while the document stays within the limits.
class Builder {
public:
    Builder(XML_Parser parser, ProductTree& root, std::string_view leaveOut)
        : parser_(parser), leaveOut_(leaveOut), open_{&root} {
        XML_SetUserData(parser, this);
        XML_SetElementHandler(parser, guarded<&Builder::start>, guarded<&Builder::end>);
        XML_SetCharacterDataHandler(parser, guarded<&Builder::characters>);
        XML_SetCommentHandler(parser, guarded<&Builder::comment>);
        XML_SetEntityDeclHandler(parser, refuseEntity);
    }
    Builder(const Builder&) = delete;
    Builder& operator=(const Builder&) = delete;

    /// @return why the builder stopped the parser; empty when it did not.
    const std::string& refusal() const { return refusal_; }
    bool isOutOfMemory() const { return outOfMemory_; }

private:
    /// No exception may pass through the parser.
    template <auto method, class... Arguments>
    static void guarded(void* self, Arguments... arguments) {
        auto& builder = *static_cast<Builder*>(self);
        try {
            (builder.*method)(arguments...);
        } catch (const std::bad_alloc&) {
            builder.outOfMemory_ = true;
            XML_StopParser(builder.parser_, XML_FALSE);
        }
    }

    void refuse(std::string why) {
        refusal_ = std::move(why);
        XML_StopParser(parser_, XML_FALSE);
    }

    void count(std::size_t items) {
        items_ += items;
        if (items_ > maximumDocumentItems)
            refuse("holds more than " + std::to_string(maximumDocumentItems) +
                   " elements and attributes, or values");
    }

    void start(const char* name, const char** attributes) {
        std::size_t pairs = 0;
        while (attributes[2 * pairs])
            ++pairs;
        count(1 + pairs);
        if (++depth_ > maximumDocumentDepth)
            refuse("nests deeper than " + std::to_string(maximumDocumentDepth) + " levels");
        if (leftOut_ > 0 || name == leaveOut_) {
            ++leftOut_;
            return;
        }
        ProductTree& element = append(*open_.back(), name);
        open_.push_back(&element);
        if (pairs == 0)
            return;
        ProductTree& list = append(element, "<xmlattr>");
        for (std::size_t i = 0; i < pairs; ++i)
            append(list, attributes[2 * i]).data() = attributes[2 * i + 1];
    }

    void end(const char*) {
        --depth_;
        if (leftOut_ > 0)
            --leftOut_;
        else
            open_.pop_back();
    }

    void characters(const char* text, int length) {
        if (leftOut_ == 0)
            open_.back()->data().append(text, static_cast<std::size_t>(length));
    }

    void comment(const char* text) {
        count(1);
        if (leftOut_ == 0)
            append(*open_.back(), "<xmlcomment>").data() = text;
    }

    // External files are never opened; entities are refused because they can expand without bound.
    static void refuseEntity(void* self, const char*, int, const char*, int, const char*,
                             const char*, const char*, const char*) {
        static_cast<Builder*>(self)->refuse("declares entities, which are not supported");
    }

    XML_Parser parser_;
    std::string_view leaveOut_;
    std::vector<ProductTree*> open_; ///< the elements around the parser's place, the root first
    std::size_t depth_ = 0;
    std::size_t leftOut_ = 0; ///< how many of them are not in the tree
    std::size_t items_ = 0;
    std::string refusal_;
    bool outOfMemory_ = false;
};

} // namespace

ProductTree buildXmlTree(std::string_view text, std::string_view leaveOut) {
    const ParserPtr parser(XML_ParserCreate(nullptr));
    if (!parser)
        throw std::bad_alloc();
    XML_SetUnknownEncodingHandler(parser.get(), teachEncoding, nullptr);
    ProductTree tree;
    Builder builder(parser.get(), tree, leaveOut);
    // The whole text at once, because the parser restarts a long token with each piece.
    const XML_Status status =
        XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), XML_TRUE);
    const XML_Error error = XML_GetErrorCode(parser.get());
    if (builder.isOutOfMemory() || error == XML_ERROR_NO_MEMORY)
        throw std::bad_alloc();
    if (status != XML_STATUS_OK)
        throw pt::xml_parser_error(
            builder.refusal().empty() ? XML_ErrorString(error) : builder.refusal(), "",
            XML_GetCurrentLineNumber(parser.get()));
    return tree;
}

} // namespace kfio
