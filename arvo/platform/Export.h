#pragma once

#include <QtCore/qglobal.h>

/// Marks what the shared library `arvo_platform` offers; everything else stays hidden.
#ifdef arvo_platform_EXPORTS
#define ARVO_PLATFORM_EXPORT Q_DECL_EXPORT
#else
#define ARVO_PLATFORM_EXPORT Q_DECL_IMPORT
#endif
