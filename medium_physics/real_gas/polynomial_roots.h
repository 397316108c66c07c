// Real roots of monic quadratics, cubics and quartics, for the cubic equation of state (volume
// roots, coefficient fit) and its spinodal quartic.
//
// Each solver returns the number of DISTINCT real roots and writes them ascending. A double root
// is written once, so a cubic with a double root reports 2: the volume-root logic relies on that
// to tell a tangent isotherm (spinodal) from three separate phases. Roots whose deflated
// discriminant is within kDoubleRootRelTol of zero, relative to its own terms, count as double.
//
// Method: closed form (Cardano or the trigonometric form for the cubic, Ferrari with the largest
// root of the resolvent cubic for the quartic), then a few Newton steps on the original
// polynomial, each step kept only when it lowers |p(x)|. Well-separated roots come out correct to
// a few ulps. No allocation, no exceptions; safe from any thread.
#pragma once

namespace mp::roots {

// Discriminants this close to zero (relative to the size of their terms) are rounding noise, so
// the two roots they separate are one double root; it corresponds to roots closer than about
// 1e-6 of their size.
inline constexpr double kDoubleRootRelTol = 1e-12;

// x^2 + b x + c = 0. Returns 0, 1 (double root) or 2.
int solve_quadratic(double b, double c, double roots[2]) noexcept;

// x^3 + a x^2 + b x + c = 0. Returns 1, 2 (one of them double) or 3; a triple root gives 1.
int solve_cubic(double a, double b, double c, double roots[3]) noexcept;

// x^4 + a x^3 + b x^2 + c x + d = 0. Returns 0 to 4.
int solve_quartic(double a, double b, double c, double d, double roots[4]) noexcept;

}  // namespace mp::roots
