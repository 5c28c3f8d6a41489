#include <trelis/foundation/volume_tools.h>

MVectorTemplate<double> NVolumeTools::VectorToMiddle(const QVolumeSize& size, const MMatrix& m) {
    return size.GetXSize() * size.GetXResMM() / 2.0 * m.GetUnitAxisX() +
           size.GetYSize() * size.GetYResMM() / 2.0 * m.GetUnitAxisY() +
           size.GetZSize() * size.GetZResMM() / 2.0 * m.GetUnitAxisZ();
}
