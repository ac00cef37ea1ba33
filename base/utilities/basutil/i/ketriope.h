/// \file i/ketriope.h
/// All public headers of the library, for tools that take it whole.
#pragma once
#include "basutfile.h"
#include "basutform.h"
#include "basutio.h"
#include "basutpath.h"
#include "basutregexp.h"
#include "basutsmallmutex.h"
#include "basutstr.h"
#include "basutstream.h"
#include "basutstring.h"
#include "basutstrobj.h"
#include "msgman.h"
#include "msgterminate.h"
#include "stringUtil.h"
#include "utgeometry.h"
#include "utgetenv.h"
#include "uttypes.h"
