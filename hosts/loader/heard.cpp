#include "loader/heard.h"

#include <algorithm>

namespace loader {

std::string Heard::reason(const std::string& otherwise) const {
    std::vector<std::string> told;
    for (const std::string& text : texts_)
        if (!text.empty() && std::find(told.begin(), told.end(), text) == told.end())
            told.push_back(text);
    if (told.empty())
        return otherwise;
    std::string joined = told.front();
    for (std::size_t i = 1; i < told.size(); ++i)
        joined += "; " + told[i];
    return joined;
}

/// The messages of the chain; function names are for developers.
std::string Heard::text(const KERR_REPORT& report) {
    std::string text = report.message;
    for (const KERR_REPORT* cause = report.cause.get(); cause; cause = cause->cause.get())
        if (!cause->message.empty() && cause->message != report.message)
            text += (text.empty() ? "" : ": ") + cause->message;
    return text;
}

} // namespace loader
