#pragma once

#include <string>

#include "KeyVal.h"
#include "sensordll_export.h"

/// Pair text: items "(key,value)", signed decimals, one after the other. All functions are reentrant.

/// Appends n records to p_strText; the text is not cleared first.
SENSORDLL_API void keyval_st2str(std::string& p_strText, const KeyVal* p_pKeyval, u32 p_nKeyvalNum);

/// Reads every "(" ... ")" of the text into a record; p_nKeyvalNum receives their number. A number that cannot
/// be read keeps the value of the item before (0 in the first). Never fails.
/// The array must hold a record for every ")" of the text.
SENSORDLL_API void keyval_str2st(const std::string& p_strText, KeyVal* p_pKeyval, u32& p_nKeyvalNum);

/// Lets the image-adjust service correct the values of the sensor-dependent keys in place; a value that another
/// thread stores meanwhile stays.
/// contract: always SNS_SUCCESS; failures are reported.
SENSORDLL_API int keyval_correct(KeyVal* p_pKeyval, u32 p_nKeyvalNum);
