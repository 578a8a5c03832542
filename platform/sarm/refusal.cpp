// SPDX-License-Identifier: MIT
#include "sarm/refusal.h"

namespace sarm {

const char* sentence(Refusal refusal) {
    switch (refusal) {
    case Refusal::none:
        return "The product has a range-Doppler model.";
    case Refusal::noStateVectors:
        return "The product has no orbit state vectors.";
    case Refusal::badStateVectors:
        return "The orbit state vectors are not positions and velocities of a satellite.";
    case Refusal::badTimes:
        return "The interval between the state vectors is not a positive time.";
    case Refusal::noImageSize:
        return "The image has fewer than two lines or no samples.";
    case Refusal::noSlantRange:
        return "The product states no slant range, so its image is not on a range-Doppler grid.";
    case Refusal::noPixelSpacing:
        return "The product states no range spacing, so its image is not on a range-Doppler grid.";
    case Refusal::noLineTiming:
        return "The product states no line times, so its image is not on a range-Doppler grid.";
    case Refusal::badRangePolynomial:
        return "The ground-to-slant-range polynomial does not grow across the image.";
    case Refusal::noLookDirection:
        return "The product does not say to which side the antenna looks.";
    case Refusal::arcUnusable:
        return "No orbit could be fitted to the state vectors.";
    case Refusal::noGroundIntersection:
        return "The slant ranges do not reach the ground at a corner or the centre of the image.";
    case Refusal::notRadarGrid:
        return "The line spacing disagrees with the satellite's motion over the ground: the image "
               "seems to be map-projected.";
    case Refusal::incidenceMismatch:
        return "The incidence angle of the model differs from the product's by more than 2 "
               "degrees.";
    }
    return "Unknown reason.";
}

} // namespace sarm
