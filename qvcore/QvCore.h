#ifndef QVCORE_QVCORE_H
#define QVCORE_QVCORE_H

// Every public header of the library.

#include "qvcore/Platform.h"
#include "qvcore/core/DateTime.h"
#include "qvcore/core/MemoryBlock.h"
#include "qvcore/core/NotCopyable.h"
#include "qvcore/core/Rect.h"
#include "qvcore/core/String.h"
#include "qvcore/core/WinException.h"
#include "qvcore/files/File.h"
#include "qvcore/files/FileData.h"
#include "qvcore/files/FileStream.h"
#include "qvcore/files/MemoryMappedFile.h"
#include "qvcore/files/PrivateProfile.h"
#include "qvcore/files/RegistryKey.h"

#include "qvcore/graphics/Bitmap.h"
#include "qvcore/graphics/DC.h"
#include "qvcore/graphics/GdiObject.h"
#include "qvcore/graphics/HSBColor.h"
#include "qvcore/graphics/Image.h"
#include "qvcore/graphics/ImageList.h"
#include "qvcore/runtime/Application.h"
#include "qvcore/runtime/LogFile.h"
#include "qvcore/runtime/ModuleBase.h"
#include "qvcore/runtime/QvUnknown.h"
#include "qvcore/runtime/SysInfo.h"
#include "qvcore/runtime/Thread.h"
#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/CryptingStream.h"
#include "qvcore/streams/MD5Sum.h"
#include "qvcore/streams/ObjectFactory.h"
#include "qvcore/streams/SerializingStream.h"
#include "qvcore/streams/StreamBase.h"
#include "qvcore/xml/XMLParser.h"

#endif
