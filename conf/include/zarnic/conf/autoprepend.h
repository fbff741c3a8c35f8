// The panel's runtime configuration: the variables of /etc/zrc/zrc.conf, with a compile-time
// default for each of the 31 that the panel defines.
//
//   const char* root = zrcConfGetDefaultByIndex(29);       // PRODUCT_ROOT_D, never null
//   const char* dumps = zrcConfGetDefault("DUMP_D");       // the same by name
//   const char* other = zrcConfGet("SITE_SPECIFIC");       // any name, the file only
//
// The file is loaded at the first use and then kept until the process ends: a later change of
// it is not seen. A load that failed is tried again by the next operation. Returned strings
// belong to the module. The state is global and unlocked: one thread only.

#pragma once

// Loads the file. Returns 0 when it is loaded, now or earlier, and -1 with errno set when it
// cannot be. Only a lack of memory for the table itself is reported by report_error, to both
// standard streams; what the reader reports goes to the silent message channel.
int zrcConfInit();

// The file's value of any name, which must not be null; null when there is none.
const char* zrcConfGet(const char* name);

// The file's value of variable 1 to 31, or null. Any other index is an assertion failure.
const char* zrcConfGetByIndex(int index);

// The file's value of variable 1 to 31, or its default; never null. Any other index is an
// assertion failure.
const char* zrcConfGetDefaultByIndex(int index);

// The same by name. A name that is not among the 31 is reported through report_error and gives
// null, even if the file defines it. A null name is an assertion failure, and so is the lower
// sentinel, "_MIN_POSSIBLE_ZRC_CONF_VAR_NAME": its index is 0.
const char* zrcConfGetDefault(const char* name);
