/* Sources written on a case-insensitive file system include this header with a capital letter. */
#include <heapapi.h>
