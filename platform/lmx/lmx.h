// SPDX-License-Identifier: MIT
#pragma once

/// The XML binding runtime, for programs that use bound classes.

#include "lmx/big_int.h"
#include "lmx/datetime.h"
#include "lmx/error.h"
#include "lmx/list_tokeniser.h"
#include "lmx/ns_map.h"
#include "lmx/object.h"
#include "lmx/pattern.h"
#include "lmx/xml_reader.h"
#include "lmx/xml_writer.h"
