#pragma once

#include "kmif/kmif.h"

#include <memory>

/// Owners of what kmif_DictionaryCreate and kmif_DesignCreate answer.
struct DictionaryDestroyer {
    void operator()(KmifDictionary* dictionary) const { kmif_DictionaryDestroy(dictionary); }
};
struct DesignDestroyer {
    void operator()(KmifDesign* design) const { kmif_DesignDestroy(design); }
};
using DictionaryPtr = std::unique_ptr<KmifDictionary, DictionaryDestroyer>;
using DesignPtr = std::unique_ptr<KmifDesign, DesignDestroyer>;
