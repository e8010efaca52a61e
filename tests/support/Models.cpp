#include "Models.h"

#include <fstream>
#include <sstream>

bool readModelIndex(const std::string& folder, std::vector<IndexedModel>& models)
{
    std::ifstream index(folder + "/INDEX.tsv");
    if (!index)
        return false;
    std::string line;
    std::getline(index, line); // titles
    while (std::getline(index, line)) {
        std::istringstream fields(line);
        std::string name;
        std::string reads;
        std::getline(fields, name, '\t');
        std::getline(fields, reads, '\t');
        models.push_back({name, reads == "yes"});
    }
    return true;
}
