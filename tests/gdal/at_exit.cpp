// SPDX-License-Identifier: MIT
// Keeps a GDAL dataset to the process's end, closed by one of the ways in which programs do:
//   at_exit WAY FILE
// Ends with 0 when it could read the file and nothing went wrong on the way out.
#include <gdal.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

/// A dataset at file scope.
struct Holder {
    GDALDatasetH dataset = nullptr;
    ~Holder() {
        if (dataset)
            GDALClose(dataset);
    }
};

Holder early; ///< constructed before anything of GDAL is
GDALDatasetH shared = nullptr;

Holder& late() { ///< a singleton made when GDAL and its drivers are there already
    static Holder holder;
    return holder;
}

void closeShared() {
    GDALClose(shared);
}

GDALDatasetH openAndRead(const char* file) {
    const GDALDatasetH dataset = GDALOpen(file, GA_ReadOnly);
    std::vector<float> line(static_cast<std::size_t>(dataset ? GDALGetRasterXSize(dataset) : 0));
    if (!dataset || GDALGetRasterCount(dataset) == 0 ||
        GDALRasterIO(GDALGetRasterBand(dataset, 1), GF_Read, 0, 0, static_cast<int>(line.size()), 1,
                     line.data(), static_cast<int>(line.size()), 1, GDT_Float32, 0, 0) != CE_None)
        std::_Exit(3);
    return dataset;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    const std::string way = arguments[1];
    if (way == "handler registered first")
        std::atexit(closeShared);
    GDALAllRegister();
    const GDALDatasetH dataset = openAndRead(arguments[2]);
    if (way == "file scope")
        early.dataset = dataset;
    else if (way == "late singleton")
        late().dataset = dataset;
    else if (way == "handler registered last")
        std::atexit(closeShared);
    else if (way != "never closed" && way != "handler registered first")
        return 2;
    shared = dataset;
    std::exit(0);
}
