#ifndef TESCORE_GLOBAL_H
#define TESCORE_GLOBAL_H

/// \file TesCoreGlobal.h
/// Marks what the shared object exports. Everything else in it is hidden.

#include <QtGlobal>

/// Stands before each public declaration that has a symbol.
#define TESCORE_EXPORT Q_DECL_EXPORT

#endif
