#pragma once

typedef unsigned int u32;
typedef long long INT64;

static_assert(sizeof(u32) == 4 && sizeof(INT64) == 8, "records on disk and in ia_ioctrl rely on these widths");

/// What int-valued operations return on success, unless they return an index or a count.
enum
{
    SNS_SUCCESS = 0
};
