#include <cmath>
#include <cstdio>

#include <trelis/trelis.h>

/// Paints a ball into a turned grid by sending every voxel centre to patient coordinates, then
/// sends a line of points the other way and reads the volume along it.
int main() {
    using Vector = MVectorTemplate<double>;
    MMatrix volumeToPatient;
    volumeToPatient.SetRotation(0.0, 0.0, 0.3);
    volumeToPatient.SetTranslation(10.0, -20.0, 30.0);
    const FVoxelSpaceGeometry grid(volumeToPatient, 64, 64, 40, 1.0, 1.0, 2.5);
    const Vector centre(12.0, -18.0, 31.0);
    const double radius = 15.0;

    QVolume<unsigned short> image(grid.xsize(), grid.ysize(), grid.zsize(), grid.xres(),
                                  grid.yres(), grid.zres());
    int inside = 0;
    for (int z = 0; z < grid.zsize(); ++z) {
        for (int y = 0; y < grid.ysize(); ++y) {
            int x = 0;
            for (unsigned short& pixel : image.GetSpanX(y, z)) {
                const Vector point = grid.VoxelToReal(Vector(
                    static_cast<double>(x++), static_cast<double>(y), static_cast<double>(z)));
                pixel = (point - centre).Length() < radius ? 1000 : 0;
                inside += pixel != 0 ? 1 : 0;
            }
        }
    }
    const double voxelVolume = grid.xres() * grid.yres() * grid.zres();
    std::printf("ball: %d voxels, %.1f cm3 (exact %.1f cm3)\n", inside,
                inside * voxelVolume / 1000.0,
                4.0 / 3.0 * 3.14159265358979 * radius * radius * radius / 1000.0);

    std::printf("along patient x through its centre:");
    for (double x = -20.0; x <= 20.0; x += 5.0) {
        const Vector voxel = grid.RealToVoxel(centre + Vector(x, 0.0, 0.0));
        std::printf(" %d", image.GetPixel(static_cast<int>(std::lround(voxel.x)),
                                          static_cast<int>(std::lround(voxel.y)),
                                          static_cast<int>(std::lround(voxel.z))));
    }
    std::printf("\n");
    return 0;
}
