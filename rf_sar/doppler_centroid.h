// SPDX-License-Identifier: MIT
#pragma once

#include "records/sar_metadata_record.h"

#include <string>
#include <vector>

/// Doppler centroid polynomials of slant-range complex products: which of a product's estimates
/// become the record's two polynomials, and what is made of a single one.

/// Decides, for estimates in document order, which polynomial of the record each of them fills.
/// Spotlight: the first estimate within the image time fills the first polynomial, the last one
/// the second. Other modes: the first estimate within 1 s of the middle of the image fills the
/// first, and no further one is wanted.
class CentroidSelector {
public:
    /// Reads beamModeClass and lineTimeOrdering. Times in GPS seconds.
    /// Kept: times in rising order are exchanged when the product is marked as decreasing, and no
    /// estimate lies between them then. (Doppler.SelectionFollowsModeTimeAndOrder)
    CentroidSelector(SarMetadataRecord& record, double firstLineS, double lastLineS);

    /// @return the polynomial that an estimate at this GPS time fills; null when it is passed over.
    DopplerPolynomial* polynomialFor(double estimateS);
    /// @return whether the remaining estimates need no look.
    bool done() const { return done_; }

private:
    SarMetadataRecord& record_;
    double low_, high_; ///< GPS seconds
    bool filledFirst_ = false;
    bool done_ = false;
};

/// Fills a polynomial. Coefficients beyond the record's six are dropped with a warning that names
/// the product.
/// @param timeOfDayS  of the estimate, seconds of day.
void fillCentroid(DopplerPolynomial& polynomial, double timeOfDayS, double referenceTimeS,
                  const std::vector<double>& coefficients, const std::string& productFile);

/// Spotlight complex products with one polynomial only: gives them one at the first and one at the
/// last line, shifted along the azimuth frequency ramp between. Does nothing otherwise; call it
/// after sarm_ModelEphemeris.
void splitSpotlightCentroid(SarMetadataRecord& record);
