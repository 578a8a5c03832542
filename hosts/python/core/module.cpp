// SPDX-License-Identifier: MIT
#include "core/model.h"
#include "core/tables.h"
#include "kmif/kmif.h"
#include "kmif/kmif_node.h"
#include "verbs/application.h"

#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include <filesystem>

namespace {

namespace py = pybind11;

/// Opens without the interpreter's lock: files may be far away.
std::shared_ptr<const product::OpenedProduct> open(const std::string& entry) {
    const py::gil_scoped_release released;
    return product::openProduct(entry);
}

/// Runs a verb as the command line does. Progress and warnings come on the calling thread.
/// @return what it prints.
std::string runVerb(const std::vector<std::string>& arguments,
                    const std::optional<std::function<void(const std::string&)>>& warning,
                    const std::optional<std::function<void(double)>>& progress) {
    console::Listener listener;
    if (warning)
        listener.warning = [&](const std::string& text) {
            const py::gil_scoped_acquire locked;
            (*warning)(text);
        };
    listener.progress = [&](double done) {
        const py::gil_scoped_acquire locked;
        if (PyErr_CheckSignals() != 0)
            throw py::error_already_set();
        if (progress)
            (*progress)(done);
    };
    const py::gil_scoped_release released;
    return application::runInside(arguments, listener);
}

std::string node(const product::OpenedProduct& opened, const std::string& name) {
    std::string remarks;
    const py::gil_scoped_release released;
    return kmif_NodeToJson(opened.product.node(name, remarks));
}

} // namespace

PYBIND11_MODULE(_core, core) {
    py::register_exception<loader::Error>(core, "Error", PyExc_RuntimeError);

    py::class_<product::OpenedProduct, std::shared_ptr<product::OpenedProduct>>(core, "Opened")
        .def_property_readonly("file", [](const product::OpenedProduct& p) { return p.name(); })
        .def_property_readonly("nodes",
                               [](const product::OpenedProduct& p) { return p.nodeNames(); })
        .def("node", node, py::arg("name"))
        .def("entries", tables::entries)
        .def("tie_points", tables::tiePoints)
        .def("gains", tables::gains, py::arg("entry"))
        .def("noise", tables::noise, py::arg("entry"))
        .def("incidence", tables::incidence, py::arg("line"));
    core.def(
        "open",
        [](const std::string& entry) {
            return std::const_pointer_cast<product::OpenedProduct>(open(entry));
        },
        py::arg("entry"));

    py::class_<PlaceModel>(core, "Model")
        .def(py::init([](const std::shared_ptr<product::OpenedProduct>& opened) {
                 const py::gil_scoped_release released;
                 return std::make_unique<PlaceModel>(opened);
             }),
             py::arg("opened"))
        .def_property_readonly("file", &PlaceModel::file)
        .def_property_readonly("scene_height", &PlaceModel::sceneHeightM)
        .def_property_readonly("uses_height", &PlaceModel::usesHeight)
        .def_property_readonly("line_times", &PlaceModel::lineTimes)
        .def("slant_ranges", &PlaceModel::slantRanges, py::arg("samples"))
        .def("ground_to_image", &PlaceModel::groundToImage, py::arg("lon"), py::arg("lat"),
             py::arg("height"))
        .def("image_to_ground", &PlaceModel::imageToGround, py::arg("sample"), py::arg("line"),
             py::arg("height"))
        .def("incidence", &PlaceModel::incidence, py::arg("sample"), py::arg("line"),
             py::arg("height"));

    core.def("run", runVerb, py::arg("arguments"), py::arg("warning") = py::none(),
             py::arg("progress") = py::none());
    core.def("library_folder", [] {
        return std::filesystem::path(loader::Plugin::instance().path()).parent_path().string();
    });
    core.def(
        "identifies",
        [](const std::string& file) {
            std::string reason;
            return loader::identify(loader::Plugin::instance(), file, reason) >= 0;
        },
        py::arg("file"));
}
