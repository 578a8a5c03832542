// Usage: process_end HOW DATASET. Reads a dataset's first line and leaves it to the process's end
// to close it, in the way that HOW names.
#include <gdal_priv.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

GDALDatasetUniquePtr ofFileScope;

GDALDatasetUniquePtr& ofFirstUse() {
    static GDALDatasetUniquePtr dataset;
    return dataset;
}

GDALDatasetUniquePtr openAndRead(const std::string& name) {
    GDALDatasetUniquePtr dataset(
        GDALDataset::Open(name.c_str(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR));
    if (!dataset)
        std::_Exit(3);
    const int width = dataset->GetRasterXSize();
    std::vector<double> line(2 * static_cast<std::size_t>(width));
    if (dataset->GetRasterBand(1)->RasterIO(GF_Read, 0, 0, width, 1, line.data(), width, 1,
                                            GDT_CFloat64, 0, 0, nullptr) != CE_None)
        std::_Exit(4);
    return dataset;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    const std::string how = arguments[1], name = arguments[2];
    if (how == "before") // destroyed after all that GDAL and the plug-in make
        ofFirstUse();
    GDALAllRegister();
    if (how == "file-scope")
        ofFileScope = openAndRead(name);
    if (how == "before" || how == "after")
        ofFirstUse() = openAndRead(name);
    if (how == "atexit-before")
        std::atexit([] { ofFirstUse().reset(); });
    if (how == "atexit-before" || how == "atexit-after")
        ofFirstUse() = openAndRead(name);
    if (how == "atexit-after")
        std::atexit([] { ofFirstUse().reset(); });
    if (how == "leaked")
        openAndRead(name).release();
}
