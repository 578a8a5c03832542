// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/tiff_writer.h"

#include <cpl_port.h>
#include <cpl_string.h>
#include <gdal.h>

namespace kimg {

/// GDAL's list of "NAME=value" texts.
class Options {
public:
    Options() = default;
    ~Options() { CSLDestroy(list_); }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;

    void set(const char* name, const std::string& value) {
        list_ = CSLSetNameValue(list_, name, value.c_str());
    }
    char** list() const { return list_; }

private:
    char** list_ = nullptr;
};

/// Sets a dataset's georeferencing.
void setPlace(GDALDatasetH dataset, const Georeferencing& place);

/// GDAL's progress function over a KeepGoing.
int CPL_STDCALL askToKeepGoing(double done, const char* message, void* keepGoing);

} // namespace kimg
