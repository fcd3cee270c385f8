#include "source_design/okada.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kaitoro {
namespace {

// Okada (1985), Table 2, case 2: x = 2, y = 3, d = 4, dip 70, L = 3, W = 2, lambda = mu,
// unit dislocation. The published values have four significant digits.
TEST(OkadaTest, ReproducesThePublishedCheckValues) {
    struct Case {
        double u1, u2, u3;
        double ux, uy, uz;
    };
    const Case cases[] = {
        {1, 0, 0, -8.689e-3, -4.298e-3, -2.747e-3},  // strike slip
        {0, 1, 0, -4.682e-3, -3.527e-2, -3.564e-2},  // dip slip
        {0, 0, 1, -2.660e-4, 1.056e-2, 3.214e-3},    // tensile
    };
    for (const Case& c : cases) {
        const OkadaDisplacement u = okada_surface_displacement(2, 3, 4, 70, 3, 2, c.u1, c.u2, c.u3);
        EXPECT_NEAR(u.ux, c.ux, 6e-4 * std::fabs(c.ux)) << c.u1 << c.u2 << c.u3;
        EXPECT_NEAR(u.uy, c.uy, 6e-4 * std::fabs(c.uy)) << c.u1 << c.u2 << c.u3;
        EXPECT_NEAR(u.uz, c.uz, 6e-4 * std::fabs(c.uz)) << c.u1 << c.u2 << c.u3;
    }
}

// The solution is linear in the fault's area: cutting a fault into 3 x 2 pieces and adding
// their fields must give the whole fault's field, which fails for any corner-term slip.
TEST(OkadaTest, PiecesOfAFaultAddUpToTheWholeFault) {
    const double dip = 35, d = 12, L = 30, W = 18;
    const double sd = std::sin(dip * M_PI / 180), cd = std::cos(dip * M_PI / 180);
    const double points[][2] = {{-7, 4}, {15, -20}, {41, 9}, {15, 11}};
    for (const auto& p : points) {
        const OkadaDisplacement whole =
            okada_surface_displacement(p[0], p[1], d, dip, L, W, 0.6, 1.1, 0.2);
        OkadaDisplacement sum;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 2; ++j) {
                // Piece (i, j): its own lower edge is j widths up-dip, i lengths along strike.
                const double up = j * W / 2;
                const OkadaDisplacement u = okada_surface_displacement(
                    p[0] - i * L / 3, p[1] - up * cd, d - up * sd, dip, L / 3, W / 2, 0.6, 1.1,
                    0.2);
                sum.ux += u.ux;
                sum.uy += u.uy;
                sum.uz += u.uz;
            }
        EXPECT_NEAR(sum.ux, whole.ux, 1e-9);
        EXPECT_NEAR(sum.uy, whole.uy, 1e-9);
        EXPECT_NEAR(sum.uz, whole.uz, 1e-9);
    }
}

// Shrinking the fault at a fixed moment converges to the point source: the field per unit area
// stops changing.
TEST(OkadaTest, ATinyFaultActsAsAPointSource) {
    auto per_area = [](double side) {
        const OkadaDisplacement u = okada_surface_displacement(
            8 + side / 2, 5, 10, 40, side, side, 0, 1, 0);  // centred under x = 8
        return u.uz / (side * side);
    };
    const double coarse = per_area(0.02), fine = per_area(0.01);
    EXPECT_NE(fine, 0.0);
    EXPECT_NEAR(coarse, fine, 1e-3 * std::fabs(fine));
}

// A vertical strike-slip fault lifts two opposite quadrants and lowers the other two: uz is
// antisymmetric across the fault plane and across the fault's middle.
TEST(OkadaTest, VerticalStrikeSlipGivesAntisymmetricUplift) {
    const double L = 20, W = 10, d = 15, xm = L / 2;
    const double points[][2] = {{4, 3}, {17, 8}, {-6, 12}};
    for (const auto& p : points) {
        const double a = p[0], y = p[1];
        const double uz = okada_surface_displacement(xm + a, y, d, 90, L, W, 1, 0, 0).uz;
        ASSERT_GT(std::fabs(uz), 1e-5);
        EXPECT_NEAR(okada_surface_displacement(xm + a, -y, d, 90, L, W, 1, 0, 0).uz, -uz, 1e-12);
        EXPECT_NEAR(okada_surface_displacement(xm - a, y, d, 90, L, W, 1, 0, 0).uz, -uz, 1e-12);
    }
}

// A shallow thrust (strike north, dipping east under the land): the sea floor rises above the
// up-dip part, seaward (west), and sinks beyond the lower edge, landward (east).
TEST(OkadaTest, ShallowThrustLiftsSeawardAndLowersLandward) {
    OkadaFault f;
    f.lat_deg = 38;
    f.lon_deg = 143;
    f.depth_km = 20;
    f.strike_deg = 0;
    f.dip_deg = 15;
    f.rake_deg = 90;
    f.length_km = 100;
    f.width_km = 60;
    f.slip_m = 5;
    double ue, un, uz_sea, uz_land;
    okada_fault_displacement_enu(f, 38, 143 - 0.3, &ue, &un, &uz_sea);
    okada_fault_displacement_enu(f, 38, 143 + 0.6, &ue, &un, &uz_land);
    EXPECT_GT(uz_sea, 0.5);
    EXPECT_LT(uz_land, -0.2);
    // The hanging wall moves seaward (west) above the fault.
    okada_fault_displacement_enu(f, 38, 143, &ue, &un, &uz_sea);
    EXPECT_LT(ue, -0.5);
    EXPECT_NEAR(un, 0.0, 1e-9);
    // Rotating the strike rotates the field: strike 90 dips south, so the north side lifts.
    f.strike_deg = 90;
    okada_fault_displacement_enu(f, 38 + 0.27, 143, &ue, &un, &uz_sea);
    okada_fault_displacement_enu(f, 38 - 0.54, 143, &ue, &un, &uz_land);
    EXPECT_GT(uz_sea, 0.5);
    EXPECT_LT(uz_land, -0.2);
}

}  // namespace
}  // namespace kaitoro
