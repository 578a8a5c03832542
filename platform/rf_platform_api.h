// SPDX-License-Identifier: MIT
#pragma once

/// Marks what librf_platform.so exports; everything else in it stays hidden.
#define RF_PLATFORM_API __attribute__((visibility("default")))
