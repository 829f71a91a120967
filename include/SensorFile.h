#pragma once

#include <string>

#include "KeyVal.h"
#include "ia_ioctrl.h"
#include "sensordll_export.h"

class TiXmlDocument;
class TiXmlElement;
struct ModuleConfig;

// ---- whole files -----------------------------------------------------------------------------------------
/// Reentrant; the caller keeps calls on the same file apart. A written file replaces its predecessor whole or not
/// at all (KSFile).

/// Length in bytes; 0, with a report, for a file that cannot be opened.
SENSORDLL_API INT64 getFileLen(const char* file_name);

/// Reads exactly file_len bytes. The count, or -1 if the file cannot be opened or is shorter; data may then hold
/// a part. The buffer is not terminated. contract: of a file_len of 2^32 or more the low 32 bits are read, and the
/// result is -1. Nothing is opened for a negative one.
SENSORDLL_API int loadFromFile(const char* file_name, char* data, INT64 file_len);

/// Replaces the file by file_len bytes of data. The count that KSFile::write returned; a count other than
/// file_len is reported. A short one leaves the old file. -1, with a report, also when the file could not be put in
/// its place at the end, and for a negative file_len: nothing is opened then. contract: of a file_len of 2^32 or
/// more the low 32 bits are written, reported, and returned.
SENSORDLL_API int saveToFile(char* file_name, char* data, INT64 file_len);

/// Scheme files: p_nKeyValNum records of 8 bytes, nothing else (docs/FORMAT.md).
/// contract: always SNS_SUCCESS; a missing or short file is reported and leaves the tail of the array unchanged.
SENSORDLL_API int keyValFromFile(char* file_name, KeyVal* p_pKeyVal, u32 p_nKeyValNum);
SENSORDLL_API int keyValToFile(char* file_name, KeyVal* p_pKeyVal, u32 p_nKeyValSum);

/// The stored version of the parameter layout. 0, or -1 when it cannot be read or written.
SENSORDLL_API int getVersion(u32* p_pnVersion);
SENSORDLL_API int setVersion(u32 p_nVersion);

// ---- style documents: reentrant, except where said ---------------------------------------------------------

/// The value of the first "name...=value)" in a module detail text. 0, or -1 when the field is absent.
/// contract: a plain substring search, so a name that is part of a longer name finds that field.
SENSORDLL_API int getDetailFieldTou32(const char* detail, const char* name, u32* value);

/// As above. contract: writes no terminator; the caller zeroes the buffer, which must hold the longest value.
SENSORDLL_API int getDetailFieldToStr(const char* detail, const char* name, char* value);

/// Applies "Modify", "AddAfter" or "Delete" to the first tab whose "key" is tab_key; new_tab is copied. Any other
/// operation, and an unknown tab, changes nothing. contract: always SNS_SUCCESS.
SENSORDLL_API int updateStyleTab(TiXmlDocument* doc_style, const char* operation, const char* tab_key,
                                 const TiXmlElement* new_tab);

/// Removes node from its parent and frees it. -1 if an argument is null; 0 without a change when node has no
/// parent element.
SENSORDLL_API int DeleteNode(TiXmlElement* root, TiXmlElement* node);

/// Applies the rules of a diversity document that fit the module's detail text to *ui_style (malloc, replaced by
/// realloc) by way of "/tmp/merge_style.xml". If that file cannot be saved, whatever it holds is used, perhaps an
/// earlier merge. contract: of a document with an error the part before it is used; always SNS_SUCCESS.
/// Host thread only: one merge at a time.
SENSORDLL_API int mergeStyle(ModuleConfig* moduleConfig, char** ui_style, char* ui_styleDiversity);

// ---- factory values: reentrant -----------------------------------------------------------------------------

/// Fills up to 100 records, the parameters of the style in document order after it was adapted to the service,
/// and their count. contract: always SNS_SUCCESS.
SENSORDLL_API int getFctData(char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum);

/// Appends the parameters of element and everything below it at index *p_pnKeyValNum, up to 100 in all; a surplus
/// is reported. Returns 0.
SENSORDLL_API int style2KeyVal(TiXmlElement* element, KeyVal* p_pKeyVal, u32* p_pnKeyValNum);

// ---- dynamic parameters: reentrant -------------------------------------------------------------------------

/// The style rewritten to what the image-adjust service supports, as text. A parameter for which the
/// service gives no allowed values stays as it is. contract: a style that does not parse gives an empty text; always
/// SNS_SUCCESS.
SENSORDLL_API int getDnaStyle(const char* szStyle, std::string& strOut);

/// Applies one command's default and allowed values to the elements with that id. -1 when a choice item lacks
/// "index": the rewrite stops there.
SENSORDLL_API int doDnaStyle(TiXmlElement* elem, int cmd, const ia_dynamic_params_attr_st* attr);

/// Depth-first searches by "id". contract: always 0, and of several matches the last one is kept; found and val
/// are untouched without a match.
SENSORDLL_API int getNodebyCmdId(TiXmlElement* elem, int id, TiXmlElement*& found);
SENSORDLL_API int getDnaValbyCmdId(TiXmlElement* elem, int id, int& val);

/// Links highlight (112) and backlight (128) compensation by "enable_list"; other ids change nothing. Returns 0.
SENSORDLL_API int ModifyNodebyCmdId(TiXmlElement* elem, int id);
