# SPDX-License-Identifier: MIT
"""RADARSAT-2: product.xml beside the images and three look-up tables without namespace."""
import os

import numpy as np

from . import georeferencing as geo
from . import instants
from .markup import document, element, measure, number, numbers
from .scene import LIGHT_M_PER_S

NAMESPACE = "http://www.rsi.ca/rs2/prod/xml/schemas"
COPYRIGHT = "Simulated data. No rights reserved."
FREQUENCY_HZ = 5.404999242769673e9
PRF_HZ = 1328.882202148438
BEAMS = {"ScanSAR Narrow": "W1 W2", "ScanSAR Wide": "W1 W2 W30 S7"}
MNEMONICS = {"Standard": "S4", "Wide": "W2", "Fine": "F21", "Multi-Look Fine": "MF21",
             "Ultrafine": "U12", "Low Incidence": "EL1", "High Incidence": "EH4",
             "Standard Quad Polarization": "SQ9", "Fine Quad Polarization": "FQ9",
             "ScanSAR Narrow": "SCNA", "ScanSAR Wide": "SCWA", "SpotlightA": "SLA12",
             "SpotlightB": "SLB12"}
TWO_PULSES = ("Ultrafine", "SpotlightA", "SpotlightB")
TABLES = (("Beta Nought", "lutBeta.xml"), ("Sigma Nought", "lutSigma.xml"),
          ("Gamma", "lutGamma.xml"))


def radar(recipe):
    """Constants of the instrument for this acquisition."""
    two = recipe.acquisition in TWO_PULSES
    return dict(wavelength=LIGHT_M_PER_S / FREQUENCY_HZ, prf=PRF_HZ,
                beams=BEAMS.get(recipe.acquisition,
                                MNEMONICS.get(recipe.acquisition, "S1")).split(),
                pulses=[("Upper_50", 5.666992e7), ("Lower_50", 5.666992e7)] if two
                else [("30", 3.1669921875e7)],
                range_bandwidth=1.0e8 if two else 3.002234e7, azimuth_bandwidth=900.0,
                window=("Kaiser", 2.4))


def default_name(recipe):
    mnemonic = MNEMONICS.get(recipe.acquisition, "S1")
    return (f"RS2_OK{100000 + recipe.seed}_PK{200000 + recipe.seed}_DK{300000 + recipe.seed}_"
            f"{mnemonic}_{instants.compact(recipe.start_ns, '_')}_"
            f"{'_'.join(recipe.poles)}_{recipe.product_type}")


def image_paths(recipe, burst=None):
    return [f"imagery_{pole}.tif" for pole in recipe.image_poles]


def opened(recipe):
    return "product.xml"


class _Writer:
    def __init__(self, scene):
        self.scene, self.r, self.radar = scene, scene.recipe, scene.radar
        self.beams, self.pulses = self.radar["beams"], self.radar["pulses"]

    def instant(self, time_s):
        return instants.text(self.r.start_ns + round(time_s * 1e6) * 1000)

    def product(self):
        return element(
            "product", element("productId", f"PDS_{10000000 + self.r.seed:08d}"),
            element("documentIdentifier", "RN-RP-51-2713"), self.source(), self.generation(),
            self.image(), xmlns=NAMESPACE, copyright=COPYRIGHT)

    def source(self):
        mnemonic = MNEMONICS.get(self.r.acquisition, "S1")
        return element(
            "sourceAttributes", element("satellite", self.r.satellite), element("sensor", "SAR"),
            element("inputDatasetId", f"/SIM/RSAT-2/{self.r.seed}"),
            element("imageId", 500000 + self.r.seed),
            element("inputDatasetFacilityId", "Not Specified"), element("beamModeId", 210),
            element("beamModeMnemonic", mnemonic),
            element("rawDataStartTime", self.instant(-0.3)), self.radar_parameters(),
            element("rawDataAttributes", element("numberOfInputDataGaps", 0),
                    element("gapSize", 100),
                    *(element("numberOfMissingLines", 0, pole=p) for p in self.r.poles),
                    *(geo.raw_analysis(pole=p, wing="Combined", pulse=self.pulses[0][0])
                      for p in self.r.poles)),
            element("orbitAndAttitude", element(
                "orbitInformation", element("passDirection", self.r.pass_direction.capitalize()),
                element("orbitDataSource", "Definitive"), element("orbitDataFile", "SIM_DEF.ORB"),
                *geo.state_vectors(self.scene, self.instant)),
                geo.attitude(self.scene, self.instant)))

    def radar_parameters(self):
        beams, pulses, poles = self.beams, self.pulses, self.r.poles
        scansar = len(beams) > 1
        return element(
            "radarParameters", element("acquisitionType", self.r.acquisition),
            element("beams", " ".join(beams)), element("polarizations", self.r.polarizations),
            element("pulses", " ".join(name for name, _ in pulses)),
            *(element("pulsesReceivedPerDwell", 60, beam=b) for b in beams if scansar),
            *(element("numberOfPulseIntervalsPerDwell", 69, beam=b) for b in beams if scansar),
            *(element("rank", 8, beam=b) for b in beams),
            *(measure("settableGain", 5.0e-7, "dB", beam=b, pole=p, wing=w)
              for b in beams for p in poles for w in self.r.wings.split()),
            measure("radarCenterFrequency", FREQUENCY_HZ, "Hz"),
            *(measure("pulseRepetitionFrequency", PRF_HZ + 10 * i, "Hz", beam=b)
              for i, b in enumerate(beams)),
            *(measure("pulseLength", 4.161677551269531e-5, "s", pulse=p) for p, _ in pulses),
            *(measure("pulseBandwidth", 3.002234119e7, "Hz", pulse=p) for p, _ in pulses),
            element("antennaPointing", self.r.look.capitalize()),
            *(measure("adcSamplingRate", rate, "Hz", pulse=p) for p, rate in pulses),
            element("yawSteeringFlag", "YawSteeringOn"), element("geodeticFlag", "Off-Geocentric"),
            element("rawBitsPerSample", 3),
            *(element("samplesPerEchoLine", 19800, beam=b) for b in beams),
            *(self.noise(kind, level) for kind, level in
              (("Beta Nought", -20.0), ("Sigma Nought", -23.0), ("Gamma", -22.0))))

    def noise(self, kind, level):
        count = min(99, self.r.samples)
        step = max(-(-(self.r.samples - 1) // max(count - 1, 1)), 1)
        values = level - 1.5 * np.sin(np.linspace(0, np.pi, count))
        return element(
            "referenceNoiseLevel", element("pixelFirstNoiseValue", 0), element("stepSize", step),
            element("numberOfNoiseLevelValues", count),
            element("noiseLevelValues", numbers(values), units="dB"),
            incidenceAngleCorrection=kind)

    def generation(self):
        s = self.scene
        return element(
            "imageGenerationParameters",
            element("generalProcessingInformation", element("productType", self.r.product_type),
                    element("processingFacility", "SIM"),
                    element("processingTime", self.instant(86400)),
                    element("softwareVersion", "sarsim")),
            self.processing(),
            *(element("dopplerCentroid",
                      element("timeOfDopplerCentroidEstimate", self.instant(d.time_s)),
                      element("dopplerAmbiguity", 0),
                      element("dopplerAmbiguityConfidence", number(0)),
                      measure("dopplerCentroidReferenceTime", s.doppler_reference_s, "s"),
                      measure("dopplerCentroidPolynomialPeriod", 5.8e-4, "s"),
                      element("dopplerCentroidCoefficients", numbers(d.coefficients)),
                      element("dopplerCentroidConfidence", number(0.99))) for d in s.doppler),
            element("dopplerRateValues",
                    measure("dopplerRateReferenceTime", s.doppler_reference_s, "s"),
                    element("dopplerRateValuesCoefficients", numbers(s.doppler_rate))),
            *(geo.chirp(pole=p, wing="Combined", pulse=self.pulses[0][0]) for p in self.r.poles),
            geo.slant_to_ground(s, self.instant, LIGHT_M_PER_S),
            *(element("payloadCharacteristicsParameterFile", f"PCP_{kind}_SIM.xml")
              for kind in ("beam", "baq", "instrument", "pulse", "polarimetric")))

    def processing(self):
        s, window = self.scene, self.radar["window"]

        def per_beam(name):
            return (measure(name, 8.98e-5, "s", beam=b) for b in self.beams)

        def shape(name):
            return element(name, element("windowName", window[0]),
                           element("windowCoefficient", number(window[1])))

        return element(
            "sarProcessingInformation",
            element("lutApplied", "Point Target" if self.r.product_is_complex else "Mixed"),
            element("elevationPatternCorrection", True),
            element("rangeSpreadingLossCorrection", True),
            element("pulseDependantGainCorrection", True), element("receiverSettableGain", True),
            element("rawDataCorrection", True),
            element("rangeReferenceFunctionSource", "Nominal Chirp"),
            element("interPolarizationMatricesCorrection", False),
            element("dopplerSource", "Adaptive Analysis"),
            element("dopplerAmbiguityComputed", False), element("dopplerAmbiguityUsed", False),
            element("estimatedRollAngleUsed", False),
            element("radiometricSmoothingPerformed", False),
            element("zeroDopplerTimeFirstLine", self.instant(s.first_line_s)),
            element("zeroDopplerTimeLastLine", self.instant(s.last_line_s)),
            *(element("numberOfLinesProcessed", self.r.lines, pole=p) for p in self.r.poles),
            *per_beam("samplingWindowStartTimeFirstRawLine"),
            *per_beam("samplingWindowStartTimeLastRawLine"),
            *(element("numberOfSwstChanges", 0, beam=b) for b in self.beams),
            element("numberOfRangeLooks", 1),
            measure("rangeLookBandwidth", self.radar["range_bandwidth"], "Hz"),
            measure("totalProcessedRangeBandwidth", self.radar["range_bandwidth"], "Hz"),
            element("numberOfAzimuthLooks", 1), element("scalarLookWeights", numbers([1])),
            measure("azimuthLookBandwidth", self.radar["azimuth_bandwidth"], "Hz"),
            measure("totalProcessedAzimuthBandwidth", self.radar["azimuth_bandwidth"], "Hz"),
            shape("azimuthWindow"), shape("rangeWindow"),
            measure("incidenceAngleNearRange", s.incidence_near_deg, "deg"),
            measure("incidenceAngleFarRange", s.incidence_far_deg, "deg"),
            measure("slantRangeNearEdge", s.near_range_m, "m"),
            measure("satelliteHeight", s.satellite_height_m, "m"))

    def image(self):
        s, r = self.scene, self.r
        streams = ("Real", "Imaginary") if r.product_is_complex else ("Magnitude",)
        bits = int("".join(c for c in r.pixel_type if c.isdigit()))
        geographic = ([geo.map_projection(s)] if r.product_is_map
                      else [geo.geolocation_grid(s), geo.rational_functions(s)])
        return element(
            "imageAttributes", element("productFormat", "GeoTIFF"),
            element("outputMediaInterleaving", "BSQ"),
            element("rasterAttributes",
                    element("dataType",
                            "Complex" if r.product_is_complex else "Magnitude Detected"),
                    *(element("bitsPerSample", bits, dataStream=d) for d in streams),
                    element("numberOfSamplesPerLine", r.samples),
                    element("numberOfLines", r.lines),
                    measure("sampledPixelSpacing", r.pixel_spacing, "m"),
                    measure("sampledLineSpacing", r.line_spacing, "m"),
                    element("lineTimeOrdering", r.line_order.capitalize()),
                    element("pixelTimeOrdering", r.pixel_order.capitalize())),
            element("geographicInformation", *geographic,
                    geo.ellipsoid_parameters(s, "referenceEllipsoidParameters")),
            *(element("radiometricInformation",
                      *(element("mean", number(0.3), dataStream=d) for d in streams),
                      *(element("standardDeviation", number(44), dataStream=d) for d in streams),
                      pole=p) for p in r.poles),
            *(element("lookupTable", file, incidenceAngleCorrection=kind)
              for kind, file in TABLES if not r.product_is_map),
            *(element("fullResolutionImageData", f"imagery_{p}.tif", pole=p)
              for p in r.image_poles))


def gains(scene):
    """{file: (offset, gains)}: amplitude-squared gains, one a file sample, in file order."""
    angles = np.radians(scene.incidence_profile(min(scene.recipe.samples, 64)))
    q = np.arange(scene.recipe.samples)
    angle = np.interp(q, np.linspace(0, scene.recipe.samples - 1, len(angles)), angles)
    if scene.recipe.pixel_order == "decreasing":
        angle = angle[::-1]
    beta = np.full(len(q), 199.5262)
    return {"lutBeta.xml": (0.0, beta), "lutSigma.xml": (0.0, beta / np.sqrt(np.sin(angle))),
            "lutGamma.xml": (0.0, beta / np.sqrt(np.tan(angle)))}


def write(scene, folder, images):
    """The documents; returns their names relative to the folder."""
    documents = {"product.xml": document(_Writer(scene).product(), scene.recipe.crlf)}
    if not scene.recipe.product_is_map:
        for file, (offset, values) in gains(scene).items():
            documents[file] = document(
                element("lut", element("offset", f"{offset:.6e}"),
                        element("gains", " ".join(f"{v:.6e}" for v in values)),
                        copyright=COPYRIGHT), scene.recipe.crlf)
    for file, content in documents.items():
        with open(os.path.join(folder, file), "wb") as stream:
            stream.write(content)
    return list(documents)
