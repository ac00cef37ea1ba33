/// \file i/utgeometry.h
/// The two plain records of the layout that streams read and write.
#pragma once
#include "uttypes.h"

/// A place. Units: the design's own; 32 bits of each go to a file.
struct UT_POINT {
    long x = 0;
    long y = 0;
};

/// A rectangle by its bounds. Units: the design's own; 32 bits of each go to a file.
struct UT_EXTREMA {
    long xmin = 0;
    long xmax = 0;
    long ymin = 0;
    long ymax = 0;
};
