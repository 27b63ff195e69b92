// support/product.h - what the product says about itself. The build sets it: cmake/product.cmake.
#pragma once

namespace vespro::product {

inline constexpr char kVersion[] = VESPRO_VERSION;  // major.minor.revision, in plain decimal
inline constexpr char kRemark[] = VESPRO_REMARK;
inline constexpr char kSupportMailbox[] = VESPRO_SUPPORT_MAILBOX;
inline constexpr char kContact[] = "Contact: " VESPRO_SUPPORT_MAILBOX;
inline constexpr char kWebAddress[] = VESPRO_WEB_ADDRESS;

}  // namespace vespro::product
