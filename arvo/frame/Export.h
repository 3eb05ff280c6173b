#pragma once

#include <QtCore/qglobal.h>

/// Marks what the shared library `arvo_volume` offers; everything else stays hidden.
#ifdef arvo_volume_EXPORTS
#define ARVO_VOLUME_EXPORT Q_DECL_EXPORT
#else
#define ARVO_VOLUME_EXPORT Q_DECL_IMPORT
#endif
