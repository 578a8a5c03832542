// SPDX-License-Identifier: MIT
#pragma once

#include "image_metadata.h"

#include <string_view>

/// Readers by file extension. The reader interface has no virtual destructor, so that making and
/// releasing stand together here. Any thread.

/// @return a reader as new for ".json" or ".xml" in any case; null for other extensions.
imageMetadata* makeReader(std::u16string_view extension);

/// Destroys a reader that a file handle owned.
void releaseReader(imageMetadata* reader);

/// Takes a reader that no handle came to own.
/// Kept: the interface does not release such readers. They are shelved without their documents and
/// serve again, so that identifying any number of files takes the memory of one.
/// (FileIdentify.ManyWrongFilesTakeNoMemory)
void shelveReader(imageMetadata* reader);
