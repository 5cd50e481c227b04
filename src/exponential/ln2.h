// ln 2 as each precision class uses it in exp2 and log2.
#ifndef KAV_EXPONENTIAL_LN2_H
#define KAV_EXPONENTIAL_LN2_H

namespace kav {

// The float forms take the single-precision value even where they compute in
// double.
inline constexpr float LN2_SINGLE = 0.693147182464599609375f;
inline constexpr double LN2_DOUBLE = 0.6931471805599453;

}  // namespace kav

#endif  // KAV_EXPONENTIAL_LN2_H
