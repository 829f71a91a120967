#pragma once

#include <map>
#include <string>
#include <vector>

#include "KeyVal.h"
#include "services/ImageService.h"
#include "services/linux/Board.h"
#include "services/linux/Description.h"

// A device's own documents, made of what its service can set. Pure; reentrant.
namespace devices {

// Of what documentsOf makes of one and the same device: another number, and every camera gets new documents.
inline constexpr int kDocumentsVersion = 1;

inline constexpr int kScheduledSchemes = 4;

// A parameter of a document: its key, the factory value, and what may be in its place.
struct DocumentParameter
{
    int key;
    std::string name;  // English, for reports
    services::AllowedValues allowed;
    int first;  // the word that the device had when it was met
};

struct Documents
{
    std::map<std::string, std::string> files;   // contents by path, from the folder of a generation on
    std::vector<DocumentParameter> parameters;  // as a scheme file holds them
};

// states: what parametersOf says of this device. languages: the installed files by path below share/language, which get
// the device's own texts. Throws std::runtime_error for a language file that is none.
Documents documentsOf(const Description& description, const std::vector<services::ParameterState>& states,
                      const Board& board, const std::map<std::string, std::string>& languages);

}  // namespace devices
