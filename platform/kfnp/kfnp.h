// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <string>
#include <string_view>

/// File names, without touching files. A name is a local path or a virtual one ("/vsizip/…",
/// "/vsicurl/…", "/vsimem/…"). The internal form separates with "/"; the external form is what the
/// operating system takes. Under POSIX both are the same text, and "\" is an ordinary character.
/// Pure functions, any thread.

/// @return the name in the other form.
RF_PLATFORM_API std::u16string kfnp_FileNameInternalToExternal(std::u16string_view name);
RF_PLATFORM_API std::u16string kfnp_FileNameExternalToInternal(std::u16string_view name);

/// @return everything up to and including the last separator; empty when there is none.
RF_PLATFORM_API std::u16string kfnp_FileNameGetPathPart(std::u16string_view name);
/// @return the last component without its extension.
RF_PLATFORM_API std::u16string kfnp_FileNameGetBasePart(std::u16string_view name);
/// @return the extension with its dot (".json"); empty when the last component has none.
RF_PLATFORM_API std::u16string kfnp_FileNameGetExtPart(std::u16string_view name);

namespace kfnp {

/// @return whether a virtual file system of the raster library serves the name.
RF_PLATFORM_API bool isVirtual(std::string_view name);

/// Prepares a name for opening. Removes doubled separators (except one that keeps a local
/// "//vsizip/x" from becoming virtual) and "."; in virtual paths also resolves "..", which no file
/// system does there. The part before the path itself ("/vsizip/", "https://host") stays. Local
/// ".." stays too: only the system knows the links that it crosses.
RF_PLATFORM_API std::string clean(std::string_view name);

/// @return the name made absolute against the current directory; virtual and absolute names
///         unchanged.
RF_PLATFORM_API std::string absolute(std::string_view name);

/// The kind of a file name stated in a product, relative to the folder of the product file.
enum class Reference {
    inside,   ///< stays within the folder above the product file's folder
    absolute, ///< absolute path, drive or virtual path
    climbs,   ///< leaves the folder above
    url,      ///< "scheme://…"
    empty,
};
/// @param name  UTF-8, as the product writes it; no file is touched.
RF_PLATFORM_API Reference classifyReference(std::string_view name);

/// @return the last component of a path or URL, without a query.
RF_PLATFORM_API std::string lastComponent(std::string_view pathOrUrl);

} // namespace kfnp
