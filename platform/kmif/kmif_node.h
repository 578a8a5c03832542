// SPDX-License-Identifier: MIT
#pragma once

#include "kmif/kmif.h"
#include "kmsc/kmsc.h"

#include <memory>
#include <string>
#include <string_view>

/// A design together with a deep copy of the data it describes. Move-only. It does not depend on
/// its source, and any number of threads may read it.
class RF_PLATFORM_API KmifNode {
public:
    /// An empty node: no design, no data.
    KmifNode() = default;
    KmifNode(std::shared_ptr<const KmifDesign> design, kmsc::HeapPtr<void> data)
        : design_(std::move(design)), data_(std::move(data)) {}

    bool empty() const { return !data_; }
    /// @return the design, null when the node is empty; the node's own.
    const KmifDesign* design() const { return design_.get(); }
    /// @return the structure, its pointers leading into the same block; a host that knows its type
    ///         may cast to it. Null when the node is empty; the node's own.
    const void* data() const { return data_.get(); }

private:
    std::shared_ptr<const KmifDesign> design_;
    kmsc::HeapPtr<void> data_; // the structure, then what its pointers lead to: one block
};

/// Fills the node, replacing what it held. `data` is read during the call only.
/// @return false with a report, and the node as it was, when an argument is null, an array's count
///         is negative, a text field is not UTF-8, or memory is short.
RF_PLATFORM_API bool kmif_NodeCreate(const void* data, const KmifDesign* design, KmifNode* node,
                                     KERR_REPORT** slot);

/// @return the data as a JSON object, one member per field (padding left out) in the design's
///         order, a line each; "null" for an empty node.
RF_PLATFORM_API std::string kmif_NodeToJson(const KmifNode& node);
/// Reads that back. Every number, text and array is as before; padding becomes 0, and all NaN are
/// one NaN.
/// @return false with a report that names the field, and the node as it was, when the text is not
///         JSON, or a member is missing, unknown, repeated, out of range or of another kind.
RF_PLATFORM_API bool kmif_NodeFromJson(const KmifDesign* design, std::string_view json,
                                       KmifNode* node, KERR_REPORT** slot);

/// @return design and data in one text: {"kmif":1,"design":{...},"data":{...}}, the design as in
///         a dictionary's text, the data as kmif_NodeToJson has it; "null" for an empty node.
RF_PLATFORM_API std::string kmif_NodeToText(const KmifNode& node);
/// Reads that back, as kmif_NodeFromJson.
RF_PLATFORM_API bool kmif_NodeFromText(std::string_view text, KmifNode* node, KERR_REPORT** slot);
