#pragma once

#include <string>
#include <vector>

/// One file of the collection of models, which is not part of the repository.
struct IndexedModel {
    std::string name; ///< below the folder of the collection
    bool readable;    ///< false: damaged, to be refused
};

/// Reads INDEX.tsv of the collection.
/// @param models appended to, in the order of the index
/// @return false when there is no index
bool readModelIndex(const std::string& folder, std::vector<IndexedModel>& models);
