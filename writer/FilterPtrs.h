// Counted pointers for the library's own filter interfaces.
#pragma once

#include "filters/MovieInterfaces.h"
#include "writer/ComPtrs.h"

_COM_SMARTPTR_TYPEDEF(IMovie, __uuidof(IMovie));
_COM_SMARTPTR_TYPEDEF(IMovie2, __uuidof(IMovie2));
_COM_SMARTPTR_TYPEDEF(IAudio, __uuidof(IAudio));
