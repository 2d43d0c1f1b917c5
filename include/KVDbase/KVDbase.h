// KVDbase.h: the whole interface of the library in one include.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"
#include "KVDbase/platform/XAtomic.h"
#include "KVDbase/platform/XCriticalSection.h"
#include "KVDbase/platform/XMessageQueue.h"
#include "KVDbase/platform/XThreadId.h"

#include "KVDbase/core/XArchive.h"
#include "KVDbase/core/XException.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/core/XMemBlock.h"
#include "KVDbase/core/XMemory.h"
#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/core/XTime.h"

#include "KVDbase/collections/XArray.h"
#include "KVDbase/collections/XDimArray.h"
#include "KVDbase/collections/XElements.h"
#include "KVDbase/collections/XList.h"
#include "KVDbase/collections/XMap.h"

#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XMMFile.h"
#include "KVDbase/files/XMemFile.h"
#include "KVDbase/files/XPath.h"
#include "KVDbase/files/XStdioFile.h"

#include "KVDbase/remote/XRFConnection.h"
#include "KVDbase/remote/XRFConnectionPool.h"
#include "KVDbase/remote/XRFDataBlock.h"
#include "KVDbase/remote/XRFFile.h"
#include "KVDbase/remote/XRFWire.h"

#include "KVDbase/workers/XParallelProcess.h"
#include "KVDbase/workers/XThread.h"

#include "KVDbase/raster/XBand.h"
#include "KVDbase/raster/XBitHelpers.h"
#include "KVDbase/raster/XDataType.h"
#include "KVDbase/raster/XNumberHelpers.h"
#include "KVDbase/raster/XPalette.h"
#include "KVDbase/raster/XTB.h"

#include "KVDbase/geometry/XComplex.h"
#include "KVDbase/geometry/XDenseMatrix.h"
#include "KVDbase/geometry/XMatrix.h"
#include "KVDbase/geometry/XScaleFactor.h"
#include "KVDbase/geometry/XVector.h"
#include "KVDbase/geometry/XWarp2D.h"
#include "KVDbase/geometry/XWarpCoeff.h"

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XDIB.h"
#include "KVDbase/drawing/XDrawStyle.h"
#include "KVDbase/drawing/XDrawStyleGDI.h"
#include "KVDbase/drawing/XVertBuffer.h"

#include "KVDbase/crypto/XRSA.h"
