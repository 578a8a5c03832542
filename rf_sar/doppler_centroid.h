// SPDX-License-Identifier: MIT
#pragma once

#include "records/sar_metadata_record.h"

#include <string>
#include <vector>

/// Doppler centroid polynomials of slant-range complex products: selects the record's two
/// polynomials from a product's estimates, and makes two from a single one.

/// Decides, for estimates in document order, which polynomial of the record each one fills. In
/// spotlight mode the first estimate within the image time fills the first polynomial, the last one
/// the second. In other modes the first estimate within 1 s of the middle of the image fills the
/// first polynomial; the second stays empty.
class CentroidSelector {
public:
    /// Reads beamModeClass and lineTimeOrdering. Times in GPS seconds.
    /// Kept: times in rising order are exchanged when the product is marked as decreasing, and no
    /// estimate lies between them then. (Doppler.SelectionFollowsModeTimeAndOrder)
    CentroidSelector(SarMetadataRecord& record, double firstLineS, double lastLineS);

    /// @return the polynomial that an estimate at this GPS time fills; null when the estimate is
    ///         skipped.
    DopplerPolynomial* polynomialFor(double estimateS);
    /// @return whether the remaining estimates can be skipped.
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

/// For spotlight complex products with one polynomial only: makes one at the first and one at the
/// last line, shifted along the azimuth frequency ramp. Does nothing for other products. Call it
/// after sarm_ModelEphemeris.
void splitSpotlightCentroid(SarMetadataRecord& record);
