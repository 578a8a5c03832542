// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"
#include "radartime/time_stamp.h"

#include <cstdint>
#include <string>
#include <vector>

/// An element of a metadata document that knows its own path. A missing or unreadable value throws
/// one of the property tree's own errors, whose text names the file and the full path, such as
/// "collect.state.state_vectors[2].position" (numbers in brackets count from 0).
///
/// It refers to the tree and the file name, which must outlive it. A value that any thread may
/// read. Every look-up takes a dotted path below this element, and finds the first of several
/// elements of one name; the empty path is the element itself.
class MetadataElement {
public:
    /// The root of a document.
    MetadataElement(const kfio::ProductTree& tree, const std::string& file)
        : tree_(&tree), file_(&file) {}

    const std::string& file() const { return *file_; }

    /// @throws boost::property_tree::ptree_bad_path when there is none; so do the functions below.
    MetadataElement child(const char* path) const;
    /// @return the direct children of that name in document order; "" are the elements of a JSON
    ///         array.
    std::vector<MetadataElement> children(const std::string& name) const;

    std::size_t count(const std::string& name) const { return tree_->count(name); }
    /// @return one of those children, from 0.
    MetadataElement child(const std::string& name, std::size_t index) const;

    /// @return the text unchanged, blanks included.
    const std::string& text(const char* path) const;
    std::string text(const char* path, const std::string& fallback) const;
    bool has(const char* path) const;

    /// @throws boost::property_tree::ptree_bad_data for a text that is not a number; "." is the
    ///         decimal mark whatever the locale.
    double number(const char* path) const;
    /// Never fails. If the text exists but is neither a number nor JSON's null, logs a warning.
    double number(const char* path, double fallback) const;
    /// Deviation: a size below 1 is an error instead of a window that runs backwards.
    /// (CapellaReadnodes.BadValuesNameFileAndPath)
    /// @throws boost::property_tree::ptree_bad_data also for less than 1.
    std::int32_t imageSize(const char* path) const;
    /// @return the numbers of one text, separated by blanks, up to the first that cannot be read,
    ///         for which it logs a warning.
    std::vector<double> numbers(const char* path) const;

    using TimeParser = std::optional<TimeStamp> (*)(std::string_view);
    /// @throws boost::property_tree::ptree_bad_data when `parse` refuses the text.
    TimeStamp time(const char* path, TimeParser parse) const;

private:
    MetadataElement(const MetadataElement& parent, const kfio::ProductTree& tree, std::string path)
        : tree_(&tree), file_(parent.file_), path_(std::move(path)) {}

    std::string fullPath(const char* path) const;
    std::string indexedPath(const std::string& name, std::size_t index) const;
    std::string place(const char* path) const;
    template <class Number>
    Number convert(const char* path, const char* typeName) const;

    const kfio::ProductTree* tree_;
    const std::string* file_;
    std::string path_; ///< from the root
};
