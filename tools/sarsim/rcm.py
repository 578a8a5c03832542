# SPDX-License-Identifier: MIT
"""RADARSAT Constellation Mission: metadata/ with its calibration/, imagery/ and manifest.safe."""
import os

import numpy as np

from . import georeferencing as geo
from . import instants
from .markup import document, element, measure, number, numbers
from .scene import LIGHT_M_PER_S

NAMESPACE = "rcmGsProductSchema"
FREQUENCY_HZ = 5.404999999449389e9
PRF_HZ = 2837.684449489217
ADC_HZ = 2.6875e7
STYLESHEET = '<?xml-stylesheet type="text/xsl" href="../support/rcm_prod_product.xslt"?>'
MNEMONICS = {"Ship Detection": "SCSD", "Low Noise": "SCLN", "Low Resolution 100m": "SC100MA",
             "Medium Resolution 50m": "SC50MA", "Medium Resolution 30m": "SC30MCPA",
             "Quad-Polarization": "QP12", "Medium Resolution 16m": "16M5",
             "High Resolution 5m": "5M7", "Very High Resolution 3m": "3M24", "Spotlight": "FSL18"}
TABLES = (("Beta Nought", "lutBeta"), ("Sigma Nought", "lutSigma"), ("Gamma", "lutGamma"))


def radar(recipe):
    beams = [f"SC50M{chr(ord('A') + b)}" for b in range(recipe.beams)] or ["H-5"]
    return dict(wavelength=LIGHT_M_PER_S / FREQUENCY_HZ, prf=PRF_HZ, beams=beams,
                prfs=[PRF_HZ * (1 + 0.07 * b) for b in range(len(beams))],
                pulses=[("250030", ADC_HZ)], range_bandwidth=2.5e7, azimuth_bandwidth=1570.0,
                window=("Kaiser", 2.9))


def product_id(recipe):
    return f"{2000000 + recipe.seed}_1"


def default_name(recipe):
    number_ = "".join(c for c in recipe.satellite if c.isdigit()) or "1"
    return (f"RCM{number_}_OK{1000000 + recipe.seed}_PK{product_id(recipe)}_"
            f"{MNEMONICS.get(recipe.acquisition, 'SIM')}_"
            f"{instants.compact(recipe.start_ns, '_')}_{'_'.join(recipe.poles)}_"
            f"{recipe.product_type}")


def image_paths(recipe, burst=None):
    part = f"_{burst.name}" if burst else ""
    return [f"imagery/{product_id(recipe)}{part}_{pole}.tif" for pole in recipe.image_poles]


def opened(recipe):
    return "metadata/product.xml"


class _Writer:
    def __init__(self, scene):
        self.scene, self.r, self.radar = scene, scene.recipe, scene.radar
        self.beams, self.pulse = self.radar["beams"], self.radar["pulses"][0][0]
        self.sample_type = ("Complex" if self.r.product_is_complex else
                            "Mixed" if self.r.product_type == "MLC" else "Magnitude Detected")

    def instant(self, time_s):
        return instants.text(self.r.start_ns + round(time_s * 1e6) * 1000)

    def product(self):
        return element(
            "product", element("productId", product_id(self.r)),
            element("productAnnotation", "Données simulées"),
            element("productApplication", "Other"),
            element("documentIdentifier", "RCM-SP-53-0419, Issue 2/9"),
            element("securityAttributes",
                    element("securityClassification", "Non classifié / Unclassified"),
                    element("specialHandlingRequired", False),
                    element("specialHandlingInstructions", "No special handling required")),
            self.source(), self.generation(), self.image(), self.scene_attributes(),
            *self.doppler(), xmlns=NAMESPACE, copyright="Simulated data. No rights reserved.")

    def source(self):
        r = self.r
        modes = {1: "Single Co", 2: "Dual Co/Cross", 4: "Quad"}
        return element(
            "sourceAttributes", element("satellite", r.satellite), element("sensor", "SAR"),
            element("polarizationDataMode", "Compact" if "CH" in r.poles
                    else modes.get(len(r.poles), "Dual HH/VV")),
            element("downlinkSegmentId", "1_1"), element("inputDatasetFacilityId", "SIM"),
            element("beamMode", r.acquisition), element("beamModeDefinitionId", 105),
            element("beamModeVersion", 0),
            element("beamModeMnemonic", MNEMONICS.get(r.acquisition, "SIM")),
            element("rawDataStartTime", self.instant(-0.3)), self.radar_parameters(),
            element("rawDataAttributes", element("numberOfInputDataGaps", 0),
                    element("gapSize", 100),
                    *(element("numberOfMissingLines", 0, pole=p) for p in r.poles),
                    *(geo.raw_analysis(pole=p, beam=b) for b in self.beams for p in r.poles)),
            element("orbitAndAttitude", element(
                "orbitInformation", element("passDirection", r.pass_direction.capitalize()),
                element("orbitDataSource", "Definitive"), element("withinOrbitTube", True),
                element("orbitDataFileName", "SIM.DEF_ORBIT"),
                *geo.state_vectors(self.scene, self.instant)),
                geo.attitude(self.scene, self.instant)))

    def radar_parameters(self):
        beams, poles = self.beams, self.r.poles
        both = [dict(beam=b, pole=p) for b in beams for p in poles]
        return element(
            "radarParameters", element("acquisitionType", self.r.acquisition),
            element("beams", " ".join(beams)), element("polarizations", self.r.polarizations),
            element("pulses", self.pulse), *(element("rank", 12, beam=b) for b in beams),
            *(measure("settableGain", -21.5, "dB", **key) for key in both),
            measure("radarCenterFrequency", FREQUENCY_HZ, "Hz"),
            *(element("prfInformation", element("rawLine", 0),
                      measure("pulseRepetitionFrequency", prf, "Hz"), beam=b)
              for b, prf in zip(beams, self.radar["prfs"])),
            *(measure("pulseLength", 3e-5, "s", beam=b) for b in beams),
            *(measure("pulseBandwidth", 2.5e7, "Hz", beam=b) for b in beams),
            *(measure(f"samplingWindowStartTime{which}RawLine", 1.294e-4, "s", **key)
              for which in ("First", "Last") for key in both),
            *(element("numberOfSwstChanges", 0, **key) for key in both),
            element("antennaPointing", self.r.look.capitalize()),
            *(measure("adcSamplingRate", ADC_HZ, "Hz", beam=b) for b in beams),
            element("zeroDopplerSteeringFlag", "ZeroDopplerSteeringOn"),
            element("satOrientationRefFrame", "Geocentric"), element("rawBitsPerSample", 3),
            *(element("samplesPerEchoLine", 3328, beam=b) for b in beams),
            element("steppedReceiveMode", False))

    def generation(self):
        return element(
            "imageGenerationParameters",
            element("generalProcessingInformation", element("productType", self.r.product_type),
                    element("polarizationsInProduct", self.r.polarizations),
                    element("processingFacility", "SIM"),
                    element("processingTime", self.instant(86400)),
                    element("softwareVersion", "sarsim"), element("processingMode", "Standard"),
                    element("processingPriority", "High")),
            self.processing(), *(geo.chirp(pole=p, pulse=self.pulse) for p in self.r.poles),
            geo.slant_to_ground(self.scene, self.instant, LIGHT_M_PER_S),
            *(element("dynamicProcessingParameterFile", f"SIM_PCP_{kind}")
              for kind in ("Beam", "BAQ", "Instrument", "Pulse", "Polarimetric")))

    def processing(self):
        s, window = self.scene, self.radar["window"]

        def shape(name, **attributes):
            return element(name, element("windowName", window[0]),
                           element("windowCoefficient", number(window[1])), **attributes)

        yes = ("elevationPatternCorrection", "rangeSpreadingLossCorrection",
               "pulseDependentGainCorrection", "receiverSettableGainCorrection",
               "rawDataCorrection", "bistaticCorrectionApplied")
        azimuth_hz, range_hz = self.radar["azimuth_bandwidth"], self.radar["range_bandwidth"]
        return element(
            "sarProcessingInformation", element("lutApplied", "Mixed"),
            element("perPolarizationScaling", False), element("atmosphericCorrection", False),
            *(element(name, True) for name in yes),
            element("rangeReferenceFunctionSource", "Nominal Chirp"),
            measure("atmosphericPropagationDelay", 0, "us"),
            element("dopplerSource", "Adaptive Analysis"), element("estimatedRollAngleUsed", False),
            element("zeroDopplerTimeFirstLine", self.instant(s.first_line_s)),
            element("zeroDopplerTimeLastLine", self.instant(s.last_line_s)),
            *(element("numberOfLinesProcessed", self.r.lines, pole=p) for p in self.r.poles),
            element("numberOfRangeLooks", 1), measure("rangeLookBandwidth", range_hz, "Hz"),
            measure("totalProcessedRangeBandwidth", range_hz, "Hz"),
            element("numberOfAzimuthLooks", 1), element("scalarLookWeights", numbers([1])),
            *(measure("azimuthLookBandwidth", azimuth_hz, "Hz", beam=b) for b in self.beams),
            *(measure("totalProcessedAzimuthBandwidth", azimuth_hz, "Hz", beam=b)
              for b in self.beams),
            *(shape("azimuthWindow", beam=b) for b in self.beams), shape("rangeWindow"),
            measure("satelliteHeight", s.satellite_height_m, "m"))

    def image(self):
        s, r = self.scene, self.r
        streams = {"Complex": ("Real", "Imaginary"), "Mixed": ("Magnitude", "Real", "Imaginary")}.get(
            self.sample_type, ("Magnitude",))
        bits = int("".join(c for c in r.pixel_type if c.isdigit()))
        calibrated = not r.product_is_map  # map-projected products come without these files
        geographic = ([geo.map_projection(s)] if r.product_is_map
                      else [geo.geolocation_grid(s), geo.rational_functions(s)])
        return element(
            "imageReferenceAttributes", element("productFormat", "GeoTIFF"),
            element("outputMediaInterleaving", "BSQ"),
            *(element("lookupTableFileName", f"{stem}_{name}.xml", sarCalibrationType=kind, **key)
              for name, key, _ in _tables_of(s) for kind, stem in TABLES if calibrated),
            element("incidenceAngleFileName", "incidenceAngles.xml") if calibrated else None,
            *(element("noiseLevelFileName", f"noiseLevels_{name}.xml", **key)
              for name, key, _ in _tables_of(s) if calibrated),
            element("rasterAttributes", element("sampleType", self.sample_type),
                    element("dataType", "Floating-Point" if "float" in r.pixel_type else "Integer"),
                    *(element("bitsPerSample", bits, dataStream=d) for d in streams),
                    measure("sampledPixelSpacing", r.pixel_spacing, "m"),
                    measure("sampledLineSpacing", r.line_spacing, "m"),
                    measure("sampledPixelSpacingTime", 2 * r.pixel_spacing / LIGHT_M_PER_S, "s"),
                    measure("sampledLineSpacingTime", s.line_interval_s, "s"),
                    element("lineTimeOrdering", r.line_order.capitalize()),
                    element("pixelTimeOrdering", r.pixel_order.capitalize())),
            element("geographicInformation", geo.ellipsoid_parameters(s, "ellipsoidParameters"),
                    *geographic))

    def scene_attributes(self):
        images = ([self.image_attributes(burst) for burst in self.scene.bursts]
                  or [self.image_attributes(None)])
        if self.r.shuffle:
            np.random.default_rng([self.r.seed, 17]).shuffle(images)
        return element("sceneAttributes", element("numberOfEntries", len(images)), *images)

    def image_attributes(self, burst):
        """Offsets, lines and samples are the burst's; ranges and angles those of the whole grid."""
        s, r = self.scene, self.r
        key = dict(beam=burst.beam, burst=burst.number) if burst else dict(beam=self.beams[0])
        return element(
            "imageAttributes",
            *(element("ipdf", f"../{path}", pole=p)
              for p, path in zip(r.image_poles, image_paths(r, burst))),
            element("pixelOffset", burst.first_sample if burst else 0),
            element("lineOffset", burst.first_line if burst else 0),
            element("numLines", burst.lines if burst else r.lines),
            element("samplesPerLine", burst.samples if burst else r.samples),
            measure("incAngNearRng", s.incidence_near_deg, "deg"),
            measure("incAngFarRng", s.incidence_far_deg, "deg"),
            measure("slantRangeNearEdge", s.near_range_m, "m"),
            measure("slantRangeFarEdge", s.far_range_m, "m"),
            *(element("mean", number(300), pole=p) for p in r.image_poles),
            *(element("sigma", number(150), pole=p) for p in r.image_poles),
            sampleType=self.sample_type, **key)

    def doppler(self):
        """Bursts have an estimate each, told apart by their first coefficients."""
        s = self.scene
        reference = s.doppler_reference_s
        steps = s.line_interval_s if self.r.line_order == "increasing" else -s.line_interval_s
        bursts = [(dict(beam=b.beam, burst=b.number),
                   s.tick(s.first_line_s + steps * (b.first_line + b.lines / 2)), 10.0 * place)
                  for place, b in enumerate(s.bursts)]
        estimates = [(key, time_s, (100.0 + hz, -81901.25, 20215109.0))
                     for key, time_s, hz in bursts] or [
                         ({}, d.time_s, d.coefficients) for d in s.doppler]
        rates = [(key, time_s) for key, time_s, _ in bursts] or [({}, s.tick(s.centre_s))]
        yield element(
            "dopplerCentroid", element("numberOfEstimates", len(estimates)),
            *(element("dopplerCentroidEstimate",
                      element("timeOfDopplerCentroidEstimate", self.instant(time_s)),
                      element("dopplerAmbiguity", 0),
                      measure("dopplerCentroidReferenceTime", reference, "s"),
                      element("dopplerCentroidCoefficients", numbers(coefficients)),
                      element("dopplerCentroidConfidence", number(0.85)), **key)
              for key, time_s, coefficients in estimates))
        yield element(
            "dopplerRate", element("numberOfEstimates", len(rates)),
            *(element("dopplerRateEstimate",
                      element("timeOfDopplerRateEstimate", self.instant(time_s)),
                      measure("dopplerRateReferenceTime", reference, "s"),
                      element("dopplerRateCoefficients", numbers(s.doppler_rate)), **key)
              for key, time_s in rates))


def _tables_of(scene):
    """(part of the file's name, attributes, first column and columns) of each set of tables: one a
    polarization, for bursts one a polarization and beam. Columns count in the common grid."""
    r = scene.recipe
    beams = {burst.beam: (burst.first_sample, burst.samples) for burst in scene.bursts}
    return [(f"{beam}_{pole}" if beam else pole,
             dict(beam=beam, pole=pole) if beam else dict(pole=pole), columns)
            for pole in r.image_poles
            for beam, columns in (beams or {None: (0, r.samples)}).items()]


def gains(scene):
    """{table stem: gains from near to far range}: divisors of the intensity of detected samples, and
    of the magnitude of complex ones."""
    angle = np.radians(scene.incidence_profile(scene.recipe.samples))
    beta = np.full(len(angle), 1.27e8)
    tables = {"lutBeta": beta, "lutSigma": beta / np.sin(angle), "lutGamma": beta / np.tan(angle)}
    if scene.recipe.product_is_complex:
        return {stem: np.sqrt(values) for stem, values in tables.items()}
    return tables


def _calibration(scene):
    """{path: root element}; every list runs from near to far range and says so."""
    r = scene.recipe
    far_first = r.pixel_order == "decreasing"

    def listing(kind, columns, step=1, count=None):
        first, size = columns
        return (element(f"pixelFirst{kind}Value", first + size - 1 if far_first else first),
                element("stepSize", -step if far_first else step),
                element("numberOfValues", count or size))

    def part(values, columns):
        """Of values from near to far range, those of the columns."""
        first, size = columns
        near = r.samples - first - size if far_first else first
        return values[near:near + size]

    whole = (0, r.samples)
    roots = {"incidenceAngles.xml": element(
        "incidenceAngles", *listing("Angles", whole),
        *(measure("angles", angle, "deg") for angle in scene.incidence_profile(r.samples)),
        xmlns=NAMESPACE)}
    tables = gains(scene)
    for name, _, columns in _tables_of(scene):
        count = min(100, columns[1])
        step = max(-(-(columns[1] - 1) // max(count - 1, 1)), 1)
        for _, stem in TABLES:
            roots[f"{stem}_{name}.xml"] = element(
                "lut", *listing("Lut", columns), element("offset", 0),
                element("gains", numbers(part(tables[stem], columns))), xmlns=NAMESPACE)
        roots[f"noiseLevels_{name}.xml"] = element("noiseLevels", *(
            element("referenceNoiseLevel", element("sarCalibrationType", kind),
                    *listing("Noise", columns, step, count),
                    element("noiseLevelValues",
                            numbers(-26 - i - 2 * np.sin(np.linspace(0, np.pi, count))),
                            units="dB"))
            for i, (kind, _) in enumerate(TABLES)), xmlns=NAMESPACE)
    return {f"metadata/calibration/{file}": root for file, root in roots.items()}


def _manifest(scene, folder, paths):
    def identity(path):
        return scene.recipe.name + os.path.basename(path).replace(".", "_")

    def item(path):
        full = os.path.join(folder, path)
        kind = "text/xml" if path.endswith(".xml") else "application/octet-stream"
        size = os.path.getsize(full) if os.path.exists(full) else 0
        return element("dataObject", element(
            "byteStream", element("fileLocation", locatorType="URL", href=path),
            mimeType=kind, size=size), ID=identity(path))

    return element(
        "xfdu:XFDU", element("informationPackageMap", element(
            "xfdu:contentUnit", *(
                element("xfdu:contentUnit",
                        element("dataObjectPointer", dataObjectID=identity(path)),
                        unitType="Metadata Unit" if path.endswith(".xml")
                        else "Measurement Data Unit") for path in paths),
            unitType="RCM Product Information Package",
            textInfo=f"RCM {scene.recipe.product_type} Product")),
        element("dataObjectSection", *(item(path) for path in paths)),
        **{"xmlns:xfdu": "urn:ccsds:schema:xfdu:1"})


def write(scene, folder, images):
    """The documents; returns their names relative to the folder."""
    roots = {"metadata/product.xml": _Writer(scene).product()}
    if not scene.recipe.product_is_map:
        roots.update(_calibration(scene))

    def save(path, root, preamble=()):
        path = os.path.join(folder, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as stream:
            stream.write(document(root, scene.recipe.crlf, preamble))

    for path, root in roots.items():
        save(path, root, (STYLESHEET,) if path.endswith("product.xml") else ())
    save("manifest.safe", _manifest(scene, folder, [*roots, *(image.path for image in images)]))
    return [*roots, "manifest.safe"]
