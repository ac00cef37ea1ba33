/// \file growth_step.h
/// The growth step of arrays that were made without one.
#pragma once

namespace ketriope {

/// The value of DARRAY_DEFAULT_ELE_CNT, 1 if it is not set; below 1 where the step goes by the element's
/// size.
///
/// It is read at the first call, which the start of the library makes, and kept.
int default_growth_step() noexcept;

}  // namespace ketriope
