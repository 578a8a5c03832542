// SPDX-License-Identifier: MIT
#pragma once

#include "lmx/xml_reader.h"

#include <string>
#include <vector>

namespace lmx {

/// The events of one piece of a document, with their texts in one block. Private to the reader.
class EventQueue {
public:
    struct Piece {
        std::size_t begin = 0, size = 0;
    };
    struct Name {
        Piece uri, local, prefix;
    };
    struct Attribute {
        Name name;
        Piece value;
    };
    struct Event {
        c_xml_reader::e_event kind = c_xml_reader::e_event::stop;
        Name name;
        Piece text;
        std::size_t firstAttribute = 0, attributes = 0;
        std::size_t offset = 0; ///< in the document, bytes
    };

    bool empty() const { return current_ >= events_.size(); }
    std::size_t size() const { return events_.size(); }
    /// An empty one when there is none.
    const Event& front() const {
        static const Event none;
        return empty() ? none : events_[current_];
    }
    void pop() { ++current_; }
    /// Forgets the events; memory is kept for the next ones.
    void clear() {
        events_.clear();
        attributes_.clear();
        block_.clear();
        current_ = 0;
    }

    Piece keep(std::string_view text) {
        block_.append(text);
        return {block_.size() - text.size(), text.size()};
    }
    /// @param whole  "local", "uri|local" or "uri|local|prefix".
    Name keepName(std::string_view whole, char separator) {
        const auto [begin, size] = keep(whole);
        const auto first = whole.find(separator);
        if (first == std::string_view::npos)
            return {{}, {begin, size}, {}};
        const auto second = std::min(whole.find(separator, first + 1), size);
        const auto prefix = std::min(second + 1, size);
        return {{begin, first},
                {begin + first + 1, second - first - 1},
                {begin + prefix, size - prefix}};
    }
    void addAttribute(std::string_view name, std::string_view value, char separator) {
        const Name keptName = keepName(name, separator);
        attributes_.push_back({keptName, keep(value)});
    }
    void add(Event event) {
        event.firstAttribute = attributes_.size() - event.attributes;
        events_.push_back(event);
    }

    std::string_view view(Piece piece) const { return {block_.data() + piece.begin, piece.size}; }
    const Attribute& attribute(std::size_t index) const {
        static const Attribute none;
        return index < front().attributes ? attributes_[front().firstAttribute + index] : none;
    }

private:
    std::string block_;
    std::vector<Event> events_;
    std::vector<Attribute> attributes_;
    std::size_t current_ = 0;
};

} // namespace lmx
