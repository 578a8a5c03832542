// SPDX-License-Identifier: MIT
#pragma once

#include "image_metadata.h"

#include <string_view>

/// Makes readers by file extension. The reader interface has no virtual destructor, so readers are
/// released here too. Any thread.

/// @return a reader without state for ".json" or ".xml" in any case; null for other extensions.
imageMetadata* makeReader(std::u16string_view extension);

/// Destroys a reader that a file handle owned.
void releaseReader(imageMetadata* reader);

/// Takes back a reader that no file handle owns.
/// Kept: the interface does not release such readers. They are shelved without their documents and
/// serve again, so that identifying any number of files takes the memory of one.
/// (FileIdentify.ManyWrongFilesTakeNoMemory)
void shelveReader(imageMetadata* reader);
