#include "ImageLib/kernels/FieldRow.h"

namespace tumblewash::kernels {

void enlargeFieldRowScalar(const FieldRun* runs, int runCount, const FieldColumns& columns, double nearY,
                           double farY, const FieldChannel* channels, int channelCount, int /*limit*/) {
    const double* near = columns.near;
    const double* far = columns.far;
    for (int c = 0; c < channelCount; ++c) {
        const FieldChannel channel = channels[c];
        for (int r = 0; r < runCount; ++r) {
            const FieldRun run = runs[r];
            const double c0 = static_cast<double>(channel.upper[run.left]);
            const double c1 = static_cast<double>(channel.upper[run.right]);
            const double c2 = static_cast<double>(channel.lower[run.right]);
            const double c3 = static_cast<double>(channel.lower[run.left]);
            for (int x = run.first; x < run.end; ++x) {
                double sum = 0.0 + (near[x] * nearY) * c0;
                sum += (far[x] * nearY) * c1;
                sum += (far[x] * farY) * c2;
                sum += (near[x] * farY) * c3;
                channel.out[x] = static_cast<float>(sum);
            }
        }
    }
}

void enlargeCellRowScalar(const FieldRun* runs, int runCount, const FieldColumns& columns, const float* cells,
                          float* out, int /*limit*/) {
    for (int r = 0; r < runCount; ++r) {
        const double left = static_cast<double>(cells[runs[r].left]);
        const double right = static_cast<double>(cells[runs[r].right]);
        for (int x = runs[r].first; x < runs[r].end; ++x) {
            out[x] = static_cast<float>(columns.near[x] * left + columns.far[x] * right);
        }
    }
}

}  // namespace tumblewash::kernels
