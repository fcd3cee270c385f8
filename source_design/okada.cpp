// Okada (1985), equations (25)-(30), in Chinnery's notation: every displacement is a function
// f(xi, eta) of the position relative to a point of the fault, evaluated at the four corners as
// f(x, p) - f(x, p - W) - f(x - L, p) + f(x - L, p - W).
//
// The singular cases follow Okada's own advice: the arctangent term is 0 where q = 0 (points in
// the plane of the fault, where the field jumps anyway), 1 / (R + eta) terms vanish and
// ln(R + eta) becomes -ln(R - eta) where R + eta = 0, and the same for R + xi. Everything is
// double precision: the four corner terms nearly cancel far from the fault.
#include "source_design/okada.h"

#include <algorithm>
#include <cmath>

namespace kaitoro {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegToRad = kPi / 180.0;
constexpr double kEarthRadiusKm = 6371.009;
// mu / (lambda + mu) of a Poisson solid (lambda = mu).
constexpr double kMuOverLambdaMu = 0.5;

struct Corner {
    double ux, uy, uz;
};

struct Geometry {
    double sd, cd;  // sin and cos of the dip; cd is exactly 0 for a vertical fault
    double q;
    double u1, u2, u3;
};

Corner corner_term(const Geometry& g, double xi, double eta) {
    const double sd = g.sd, cd = g.cd, q = g.q;
    const double r = std::sqrt(xi * xi + eta * eta + q * q);
    const double x = std::sqrt(xi * xi + q * q);
    const double ytil = eta * cd + q * sd;
    const double dtil = eta * sd - q * cd;

    const double atan_term = q != 0.0 ? std::atan(xi * eta / (q * r)) : 0.0;
    double ln_r_eta, inv_r_eta, inv_r_xi;
    if (r + eta > 0.0) {
        ln_r_eta = std::log(r + eta);
        inv_r_eta = 1.0 / (r + eta);
    } else {
        ln_r_eta = -std::log(r - eta);
        inv_r_eta = 0.0;
    }
    inv_r_xi = r + xi > 0.0 ? 1.0 / (r + xi) : 0.0;
    const double r_dtil = r + dtil;

    double i1, i2, i3, i4, i5;
    if (cd != 0.0) {
        i5 = xi == 0.0 ? 0.0
                       : kMuOverLambdaMu * 2.0 / cd *
                             std::atan((eta * (x + q * cd) + x * (r + x) * sd) /
                                       (xi * (r + x) * cd));
        i4 = kMuOverLambdaMu / cd * (std::log(r_dtil) - sd * ln_r_eta);
        i3 = kMuOverLambdaMu * (ytil / (cd * r_dtil) - ln_r_eta) + sd / cd * i4;
        i1 = kMuOverLambdaMu * (-xi / (cd * r_dtil)) - sd / cd * i5;
    } else {
        const double r_dtil2 = r_dtil * r_dtil;
        i5 = -kMuOverLambdaMu * xi * sd / r_dtil;
        i4 = -kMuOverLambdaMu * q / r_dtil;
        i3 = kMuOverLambdaMu / 2.0 * (eta / r_dtil + ytil * q / r_dtil2 - ln_r_eta);
        i1 = -kMuOverLambdaMu / 2.0 * xi * q / r_dtil2;
    }
    i2 = kMuOverLambdaMu * -ln_r_eta - i3;

    const double q_r_reta = q / r * inv_r_eta;  // q / (R (R + eta))
    const double q_r_rxi = q / r * inv_r_xi;    // q / (R (R + xi))
    Corner c{0, 0, 0};
    if (g.u1 != 0.0) {
        c.ux += -g.u1 * (xi * q_r_reta + atan_term + i1 * sd);
        c.uy += -g.u1 * (ytil * q_r_reta + q * cd * inv_r_eta + i2 * sd);
        c.uz += -g.u1 * (dtil * q_r_reta + q * sd * inv_r_eta + i4 * sd);
    }
    if (g.u2 != 0.0) {
        c.ux += -g.u2 * (q / r - i3 * sd * cd);
        c.uy += -g.u2 * (ytil * q_r_rxi + cd * atan_term - i1 * sd * cd);
        c.uz += -g.u2 * (dtil * q_r_rxi + sd * atan_term - i5 * sd * cd);
    }
    if (g.u3 != 0.0) {
        const double shear = xi * q_r_reta - atan_term;
        c.ux += g.u3 * (q * q_r_reta - i3 * sd * sd);
        c.uy += g.u3 * (-dtil * q_r_rxi - sd * shear - i1 * sd * sd);
        c.uz += g.u3 * (ytil * q_r_rxi + cd * shear - i5 * sd * sd);
    }
    return c;
}

}  // namespace

OkadaDisplacement okada_surface_displacement(double x, double y, double depth, double dip_deg,
                                             double length, double width, double u1, double u2,
                                             double u3) {
    Geometry g;
    const double dip = dip_deg * kDegToRad;
    g.sd = std::sin(dip);
    g.cd = std::cos(dip);
    // cos(90 deg) in double is 6e-17, not 0: treat a vertical fault as one, or the 1/cos forms
    // lose every digit.
    if (std::fabs(g.cd) < 1e-12) {
        g.cd = 0.0;
        g.sd = g.sd > 0 ? 1.0 : -1.0;
    }
    const double p = y * g.cd + depth * g.sd;
    g.q = y * g.sd - depth * g.cd;
    g.u1 = u1;
    g.u2 = u2;
    g.u3 = u3;
    const Corner a = corner_term(g, x, p);
    const Corner b = corner_term(g, x, p - width);
    const Corner c = corner_term(g, x - length, p);
    const Corner d = corner_term(g, x - length, p - width);
    const double k = 1.0 / (2.0 * kPi);
    OkadaDisplacement u;
    u.ux = k * (a.ux - b.ux - c.ux + d.ux);
    u.uy = k * (a.uy - b.uy - c.uy + d.uy);
    u.uz = k * (a.uz - b.uz - c.uz + d.uz);
    return u;
}

void okada_fault_displacement_enu(const OkadaFault& f, double lat_deg, double lon_deg,
                                  double* ue, double* un, double* uz) {
    const double e = kEarthRadiusKm * (lon_deg - f.lon_deg) * kDegToRad *
                     std::cos(f.lat_deg * kDegToRad);
    const double n = kEarthRadiusKm * (lat_deg - f.lat_deg) * kDegToRad;
    const double st = std::sin(f.strike_deg * kDegToRad), ct = std::cos(f.strike_deg * kDegToRad);
    const double dip = f.dip_deg * kDegToRad;
    // Along strike and across it (positive against the dip direction), from the centroid; the
    // centroid sits half a length along the lower edge and half a width up-dip.
    const double xs = e * st + n * ct;
    const double ys = -e * ct + n * st;
    const double bottom = f.depth_km + 0.5 * f.width_km * std::sin(dip);
    const double x = xs + 0.5 * f.length_km;
    const double y = ys + 0.5 * f.width_km * std::cos(dip);
    const double rake = f.rake_deg * kDegToRad;
    const OkadaDisplacement u =
        okada_surface_displacement(x, y, bottom, f.dip_deg, f.length_km, f.width_km,
                                   f.slip_m * std::cos(rake), f.slip_m * std::sin(rake), 0.0);
    *ue = u.ux * st - u.uy * ct;
    *un = u.ux * ct + u.uy * st;
    *uz = u.uz;
}

double okada_fault_reach_km(const OkadaFault& f) {
    const double half_diagonal = 0.5 * std::hypot(f.length_km, f.width_km);
    const double bottom = f.depth_km + 0.5 * f.width_km * std::sin(f.dip_deg * kDegToRad);
    // A buried source's far field falls off as (depth / r)^3: ten depths is 1/1000, and the
    // last stretch is faded out by the caller.
    return half_diagonal + 12.0 * std::max({bottom, 0.2 * std::max(f.length_km, f.width_km), 5.0});
}

}  // namespace kaitoro
