#pragma once

// The zkJson document library: values (zkjson_value.h), the reader (zkjson_reader.h) and the
// writers (zkjson_writer.h).

#include <qvcryptoservice/zkjson_reader.h>
#include <qvcryptoservice/zkjson_value.h>
#include <qvcryptoservice/zkjson_writer.h>
