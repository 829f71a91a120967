#pragma once

#include <string>

#include "KeyVal.h"

// keyval_str2st with a bound: stops when p_nCapacity records are filled and leaves the rest of the text unread.
// Takes time in proportion to the length of the text, whatever it holds. Reentrant.
void keyvalFromText(const std::string& p_strText, KeyVal* p_pKeyval, u32 p_nCapacity, u32& p_nKeyvalNum);
