#include "arvo/geometry/MainDirectionsCalculator.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const bool registered[] = {
    bench::workload(
        {.name = "maindirs_i16"}, [](int edge) { return inputs::copyOf(inputs::ct16(edge)); },
        [](ArvoImage3D& image) {
            MainDirectionsCalculator calculator;
            calculator.setImage(&image);
            calculator.setThreshold(300);
            calculator.execute();
            benchmark::DoNotOptimize(calculator.getDirection0());
        }),
};

} // namespace
