#pragma once

// Marks what libmrp.so exports; everything else is hidden.
#define MRP_API __attribute__((visibility("default")))
