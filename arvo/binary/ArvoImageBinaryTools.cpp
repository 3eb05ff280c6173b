#include "arvo/binary/ArvoImageBinaryTools.h"

ArvoImageBinaryTools::ArvoImageBinaryTools() = default;
ArvoImageBinaryTools::ArvoImageBinaryTools(const ArvoImageBinaryTools&) = default;
ArvoImageBinaryTools& ArvoImageBinaryTools::operator=(const ArvoImageBinaryTools&) = default;
ArvoImageBinaryTools::~ArvoImageBinaryTools() = default;
