#pragma once

#include "arvo/binary/ArvoImageBinaryTools.h"

/// The toolbox with its two volumes set.
inline ArvoImageBinaryTools toolsOn(ArvoImage3D* in, ArvoImage3D* out)
{
    ArvoImageBinaryTools tools;
    tools.setInput(in);
    tools.setOutput(out);
    return tools;
}
