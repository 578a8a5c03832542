// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/shared_tree.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Texts, numbers and files of metadata documents, for the families that read them.
namespace product {

/// @return the text at a path of names joined by "/"; "" when it is missing. JSON keys may contain
///         dots and colons.
std::string textAt(const kfio::ProductTree& tree, const std::string& path);
/// @return the element at such a path; null when it is missing.
const kfio::ProductTree* elementAt(const kfio::ProductTree& tree, const std::string& path);

/// @return as textAt, for an element with only text and attributes.
/// @throws loader::Error naming the file and the path when the element holds more.
std::string leafAt(const kfio::ProductTree& tree, const std::string& path, const std::string& file);

/// @return the numbers of a JSON array; empty when it is missing.
/// @throws loader::Error naming the file, the path and the text that is no number.
std::vector<double> numbersAt(const kfio::ProductTree& tree, const std::string& path,
                              const std::string& file);

/// @return the first text that is neither "" nor JSON's "null".
std::string firstText(std::initializer_list<std::string> texts);

/// @return the numbers of a list separated by blanks.
/// @throws loader::Error naming the file and the text that is no number.
std::vector<double> parseNumbers(const std::string& text, const std::string& file);

/// @throws loader::Error naming the file when the text is not one whole number.
std::int64_t parseInteger(const std::string& text, const std::string& file);

/// @return the number, if the whole text is one; else nothing.
std::optional<double> numberOf(const std::string& text);

/// @return the size of an image; 0 when the text is empty.
/// @throws loader::Error naming the file when it is no whole number above 0.
std::uint32_t parseSize(const std::string& text, const std::string& file);

/// @return the number, if the whole text is one; else NaN.
double numberOrNan(const std::string& text);

/// @return the words of a list separated by blanks.
std::vector<std::string> wordsOf(const std::string& text);
std::string lowerCase(std::string text);

/// All products use UTC; some leave out the zone.
/// @return the time with its "Z"; "" stays "".
std::string zoned(const std::string& time);

/// @return GPS seconds; NaN for a text that is no time. A zone may be there but does not shift the
///         time.
double gpsSecondsOf(const std::string& time);
/// @return seconds since midnight; 0 for a text that is no time.
double secondsOfDayOf(const std::string& time);

/// @param productFile  of the product that gives the name.
/// @param file  the product's folder and the name.
/// @return false if the name or a link leads out of the product.
bool isOwnFile(const std::string& productFile, const std::string& file);

/// Reads an XML file that a product names.
/// @return sharedXmlTree.
/// @throws loader::Error naming the file when it cannot be read, or its name leads out of the
///         product.
std::shared_ptr<const kfio::ProductTree> readTable(const std::string& productFile, const std::string& file);

/// @return the error's message with the file named once; the parser's own messages mostly name it
///         already.
std::string faultOf(const std::string& file, const std::exception& error);

/// A metadata key and the path of its value in a document.
using KeyAndPath = std::pair<const char*, const char*>;

} // namespace product
