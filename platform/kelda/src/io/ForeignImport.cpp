#include "io/ForeignImport.h"

#include "graph/FileNames.h"
#include "io/BinaryReader.h"
#include "io/BinaryWriter.h"
#include "io/ForeignTree.h"

#include <assimp/Importer.hpp>
#include <assimp/light.h>
#include <assimp/material.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <new>
#include <poll.h>
#include <set>
#include <strings.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define KELDA_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KELDA_ADDRESS_SANITIZER 1
#endif
#endif

namespace kelda
{

// -- What the import library found, as a scene of ours --------------------------------------------

namespace
{

/// Counts what could not be taken over.
struct Losses {
    size_t lowFaces = 0;   ///< points and lines
    size_t wrongFaces = 0; ///< of vertices that do not exist or are not finite
    size_t emptyMeshes = 0;
    size_t wrongNumbers = 0; ///< normals and UVs
    size_t textures = 0;     ///< for anything but the colour
    size_t images = 0;       ///< embedded ones that could not be unpacked
    size_t lights = 0;       ///< of no known kind, or without a place
};

std::string legalNameOf(const aiString& name)
{
    return Scene::legalName(std::string_view(name.C_Str(), std::strlen(name.C_Str())));
}

bool isFinite(const aiVector3D& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

void takeMesh(const aiMesh& from, ForeignMesh& to, Losses& losses)
{
    to.name = legalNameOf(from.mName);
    to.material = static_cast<int>(from.mMaterialIndex);
    MeshData& data = to.data;
    const size_t vertexCount = from.mVertices ? from.mNumVertices : 0;
    std::vector<bool> usable(vertexCount);
    data.points.resize(vertexCount * 3);
    for (size_t i = 0; i < vertexCount; ++i) {
        const aiVector3D& p = from.mVertices[i];
        usable[i] = isFinite(p);
        data.points[3 * i] = usable[i] ? p.x : 0;
        data.points[3 * i + 1] = usable[i] ? p.y : 0;
        data.points[3 * i + 2] = usable[i] ? p.z : 0;
    }
    for (unsigned f = 0; f < from.mNumFaces; ++f) {
        const aiFace& face = from.mFaces[f];
        if (face.mNumIndices < 3) {
            ++losses.lowFaces;
            continue;
        }
        bool good = true;
        for (unsigned k = 0; k < face.mNumIndices && good; ++k)
            good = face.mIndices[k] < vertexCount && usable[face.mIndices[k]];
        if (!good) {
            ++losses.wrongFaces;
            continue;
        }
        data.faceCounts.push_back(static_cast<int32_t>(face.mNumIndices));
        for (unsigned k = 0; k < face.mNumIndices; ++k)
            data.faceVertices.push_back(static_cast<int32_t>(face.mIndices[k]));
    }
    if (from.mNormals) {
        data.normals.resize(vertexCount * 3);
        for (size_t i = 0; i < vertexCount; ++i) {
            const aiVector3D& n = from.mNormals[i];
            const bool good = isFinite(n);
            losses.wrongNumbers += good ? 0 : 1;
            data.normals[3 * i] = good ? n.x : 0;
            data.normals[3 * i + 1] = good ? n.y : 0;
            data.normals[3 * i + 2] = good ? n.z : 0;
        }
        data.normalIds = data.faceVertices;
    }
    for (unsigned c = 0; c < AI_MAX_NUMBER_OF_TEXTURECOORDS; ++c) {
        if (!from.mTextureCoords[c])
            continue;
        data.uvSets.emplace_back();
        UVSet& set = data.uvSets.back();
        set.name = uvSetName(c);
        set.u.resize(vertexCount);
        set.v.resize(vertexCount);
        for (size_t i = 0; i < vertexCount; ++i) {
            const aiVector3D& t = from.mTextureCoords[c][i];
            const bool good = std::isfinite(t.x) && std::isfinite(t.y);
            losses.wrongNumbers += good ? 0 : 1;
            set.u[i] = good ? t.x : 0;
            set.v[i] = good ? t.y : 0;
        }
        set.ids = data.faceVertices;
    }
}

void takeMatrix(const aiMatrix4x4& from, double to[4][4])
{
    bool good = true;
    for (unsigned i = 0; i < 4; ++i)
        for (unsigned j = 0; j < 4; ++j)
            good = good && std::isfinite(from[i][j]);
    for (unsigned i = 0; i < 3 && good; ++i)
        for (unsigned j = 0; j < 4; ++j)
            to[i][j] = static_cast<double>(from[i][j]);
}

/// Writes embedded images to a folder, each once and when it is first used.
class EmbeddedImages
{
public:
    EmbeddedImages(const aiScene& scene, std::string folder)
        : _scene(scene), _folder(std::move(folder)), _files(scene.mTextures ? scene.mNumTextures : 0)
    {
    }

    /// The embedded image that a texture's name means; -1: none, it is the name of a file.
    int find(const std::string& name) const
    {
        const auto bare = [](const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); };
        if (!name.empty() && name[0] == '*') {
            size_t index = 0;
            const std::from_chars_result r =
                std::from_chars(name.data() + 1, name.data() + name.size(), index);
            return r.ec == std::errc() && index < _files.size() ? static_cast<int>(index) : -1;
        }
        for (size_t i = 0; i < _files.size(); ++i)
            if (_scene.mTextures[i] && _scene.mTextures[i]->mFilename.length > 0 &&
                bare(name) == bare(_scene.mTextures[i]->mFilename.C_Str()))
                return static_cast<int>(i);
        return -1;
    }

    /// Full path of the unpacked image; empty when it cannot be unpacked.
    const std::string& file(int index)
    {
        std::string& path = _files[static_cast<size_t>(index)];
        const aiTexture* const image = _scene.mTextures[index];
        if (path.empty() && image && image->pcData && !_folder.empty())
            path = unpack(*image, index);
        return path;
    }

private:
    static constexpr size_t kLongestName = 100;

    static std::string_view suffixOf(const aiTexture& image, std::string_view bytes)
    {
        if (bytes.substr(0, 4) == "\x89PNG")
            return "png";
        if (bytes.substr(0, 3) == "\xff\xd8\xff")
            return "jpg";
        const std::string_view hint(image.achFormatHint, strnlen(image.achFormatHint, HINTMAXTEXTURELEN));
        const bool isPlain = std::all_of(hint.begin(), hint.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        });
        return isPlain && !hint.empty() ? hint : "image";
    }

    std::string unpack(const aiTexture& image, int index)
    {
        std::string raw;
        std::string_view bytes;
        std::string_view suffix = "tga";
        if (image.mHeight == 0) {
            bytes = {reinterpret_cast<const char*>(image.pcData), image.mWidth};
            suffix = suffixOf(image, bytes);
        } else {
            if (image.mWidth == 0 || image.mWidth > 0xffff || image.mHeight > 0xffff)
                return std::string();
            // Texels lie as blue, green, red, alpha, from the top left corner on: as in a TGA file of this
            // kind.
            const auto byte = [](unsigned value) { return static_cast<char>(value & 0xff); };
            const char header[18] = {0,
                                     0,
                                     2,
                                     0,
                                     0,
                                     0,
                                     0,
                                     0,
                                     0,
                                     0,
                                     0,
                                     0,
                                     byte(image.mWidth),
                                     byte(image.mWidth >> 8),
                                     byte(image.mHeight),
                                     byte(image.mHeight >> 8),
                                     32,
                                     0x28};
            raw.assign(header, sizeof header);
            raw.append(reinterpret_cast<const char*>(image.pcData), size_t(4) * image.mWidth * image.mHeight);
            bytes = raw;
        }
        std::string name = image.mFilename.C_Str();
        name = name.substr(name.find_last_of("/\\") + 1);
        name = Scene::legalName(name.substr(0, name.rfind('.'))).substr(0, kLongestName);
        if (name.empty())
            name = "image" + std::to_string(index);
        while (!_names.insert(name).second)
            name += "_" + std::to_string(index);
        const std::string path = _folder + "/" + name + "." + std::string(suffix);
        const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (file < 0)
            return std::string();
        size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t written = ::write(file, bytes.data() + done, bytes.size() - done);
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                break;
            done += static_cast<size_t>(written);
        }
        ::close(file);
        if (done == bytes.size())
            return path;
        ::unlink(path.c_str());
        return std::string();
    }

    const aiScene& _scene;
    std::string _folder; ///< empty: there is none
    std::vector<std::string> _files;
    std::set<std::string> _names;
};

/// What "%20" and the like stand for.
std::string percentDecoded(const std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned value = 0;
        const char* const digits = text.data() + i + 1;
        if (text[i] == '%' && i + 2 < text.size() &&
            std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2 && value != 0) {
            out += static_cast<char>(value);
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

/// False, and `to` as it was, when the format does not give the colour.
bool takeColor(const aiMaterial& from, const char* key, float (&to)[3])
{
    aiColor3D color;
    if (from.Get(key, 0, 0, color) != aiReturn_SUCCESS || !std::isfinite(color.r) ||
        !std::isfinite(color.g) || !std::isfinite(color.b))
        return false;
    to[0] = color.r;
    to[1] = color.g;
    to[2] = color.b;
    return true;
}

void takeTexture(const aiMaterial& from, const std::string& path, ForeignTexture& to, EmbeddedImages& images,
                 Losses& losses)
{
    aiString name;
    std::set<std::string> others; // some are listed under several types
    for (int t = aiTextureType_DIFFUSE; t <= AI_TEXTURE_TYPE_MAX; ++t) {
        const aiTextureType type = static_cast<aiTextureType>(t);
        const bool isColor = type == aiTextureType_DIFFUSE || type == aiTextureType_BASE_COLOR;
        for (unsigned i = 0; i < from.GetTextureCount(type) && !isColor; ++i)
            if (from.GetTexture(type, i, &name) == aiReturn_SUCCESS)
                others.insert(name.C_Str());
    }
    losses.textures += others.size();
    const aiTextureType type =
        from.GetTextureCount(aiTextureType_DIFFUSE) > 0 ? aiTextureType_DIFFUSE : aiTextureType_BASE_COLOR;
    unsigned channel = 0;
    aiTextureMapMode modes[3] = {aiTextureMapMode_Wrap, aiTextureMapMode_Wrap, aiTextureMapMode_Wrap};
    if (from.GetTexture(type, 0, &name, nullptr, &channel, nullptr, nullptr, modes) != aiReturn_SUCCESS)
        return;
    to.file = name.C_Str();
    const int embedded = images.find(to.file);
    if (embedded >= 0) {
        to.file = images.file(embedded);
        losses.images += to.file.empty() ? 1 : 0;
    } else if (to.file.find('%') != std::string::npos && fileBeside(path, to.file) == to.file) {
        const std::string decoded = percentDecoded(to.file);
        if (fileBeside(path, decoded) != decoded)
            to.file = decoded;
    }
    to.channel = channel < AI_MAX_NUMBER_OF_TEXTURECOORDS ? channel : 0;
    for (unsigned i = 0; i < 2; ++i) {
        to.mirror[i] = modes[i] == aiTextureMapMode_Mirror;
        to.wrap[i] = modes[i] == aiTextureMapMode_Wrap || modes[i] == aiTextureMapMode_Mirror;
    }
    aiUVTransform place;
    if (from.Get(AI_MATKEY_UVTRANSFORM(type, 0), place) == aiReturn_SUCCESS &&
        std::isfinite(place.mScaling.x) && std::isfinite(place.mScaling.y) &&
        std::isfinite(place.mTranslation.x) && std::isfinite(place.mTranslation.y) &&
        std::isfinite(place.mRotation)) {
        to.repeat[0] = static_cast<double>(place.mScaling.x);
        to.repeat[1] = static_cast<double>(place.mScaling.y);
        to.offset[0] = static_cast<double>(place.mTranslation.x);
        to.offset[1] = static_cast<double>(place.mTranslation.y);
        to.rotation = static_cast<double>(place.mRotation);
    }
}

void takeMaterial(const aiMaterial& from, const std::string& path, ForeignMaterial& to,
                  EmbeddedImages& images, Losses& losses)
{
    const auto number = [&](const char* key, float otherwise) {
        float value = otherwise;
        return from.Get(key, 0, 0, value) == aiReturn_SUCCESS && std::isfinite(value) ? value : otherwise;
    };
    aiString name;
    if (from.Get(AI_MATKEY_NAME, name) == aiReturn_SUCCESS)
        to.name = legalNameOf(name);
    to.hasColor = takeColor(from, "$clr.diffuse", to.color);
    to.hasAmbient = takeColor(from, "$clr.ambient", to.ambient);
    to.hasEmission = takeColor(from, "$clr.emissive", to.emission);
    to.shininess = number("$mat.shininess", 0);
    const float strength = number("$mat.shinpercent", 1);
    if (takeColor(from, "$clr.specular", to.specular) && to.shininess > 0)
        for (float& component : to.specular) {
            component *= std::isfinite(component * strength) ? strength : 1;
            to.isGlossy = to.isGlossy || component > 0;
        }
    // Formats with modes of transparency give an opacity, too, where they do not blend.
    aiString mode;
    if (from.Get("$mat.gltf.alphaMode", 0, 0, mode) != aiReturn_SUCCESS ||
        std::strcmp(mode.C_Str(), "BLEND") == 0)
        to.transparency = 1 - std::min(1.0f, std::max(0.0f, number("$mat.opacity", 1)));
    takeTexture(from, path, to.texture, images, losses);
}

/// False: a light of a kind that there is none of here.
bool takeLight(const aiLight& from, bool anglesAreHalf, ForeignLight& to)
{
    switch (from.mType) {
    case aiLightSource_DIRECTIONAL:
        to.type = "directionalLight";
        break;
    case aiLightSource_POINT:
        to.type = "pointLight";
        break;
    case aiLightSource_SPOT:
        to.type = "spotLight";
        break;
    case aiLightSource_AMBIENT:
        to.type = "ambientLight";
        break;
    case aiLightSource_AREA:
        to.type = "areaLight";
        break;
    default:
        return false;
    }
    to.name = legalNameOf(from.mName);
    to.fades = from.mAttenuationQuadratic > 0 &&
               (from.mType == aiLightSource_POINT || from.mType == aiLightSource_SPOT ||
                from.mType == aiLightSource_AREA);
    // Colours come multiplied by the intensity.
    const aiColor3D color = from.mType == aiLightSource_AMBIENT ? from.mColorAmbient : from.mColorDiffuse;
    const float largest = std::max({color.r, color.g, color.b});
    if (std::isfinite(color.r) && std::isfinite(color.g) && std::isfinite(color.b)) {
        const float unit = largest > 1 ? largest : 1;
        to.intensity = unit;
        to.color[0] = color.r / unit;
        to.color[1] = color.g / unit;
        to.color[2] = color.b / unit;
    }
    if (from.mType == aiLightSource_SPOT && std::isfinite(from.mAngleOuterCone)) {
        const double outer = static_cast<double>(from.mAngleOuterCone) * (anglesAreHalf ? 1 : 0.5);
        const double inner = static_cast<double>(from.mAngleInnerCone) * (anglesAreHalf ? 1 : 0.5);
        to.cone = 2 * outer;
        to.penumbra = inner >= 0 && inner < outer ? inner - outer : 0;
    }
    return true;
}

/// The matrix that takes a light of ours to where the light is in its node: -z to its direction, y upwards.
void takePlace(const aiLight& from, double to[4][4])
{
    if (from.mType != aiLightSource_POINT && from.mType != aiLightSource_AMBIENT &&
        isFinite(from.mDirection) && isFinite(from.mUp) && from.mDirection.SquareLength() > 0) {
        aiVector3D back = -from.mDirection;
        back.Normalize();
        aiVector3D right = from.mUp ^ back;
        if (right.SquareLength() < 1e-6f)
            right = (std::fabs(back.y) < 0.9f ? aiVector3D(0, 1, 0) : aiVector3D(0, 0, 1)) ^ back;
        right.Normalize();
        const aiVector3D axes[3] = {right, back ^ right, back};
        for (unsigned column = 0; column < 3; ++column)
            for (unsigned row = 0; row < 3; ++row)
                to[row][column] = static_cast<double>(axes[column][row]);
    }
    for (unsigned row = 0; row < 3 && isFinite(from.mPosition); ++row)
        to[row][3] = static_cast<double>(from.mPosition[row]);
}

/// Lights are bound to the node of their name: the first one, where several bear it.
class LightsByName
{
public:
    LightsByName(const aiScene& from, bool anglesAreHalf, ForeignScene& to)
        : _from(from), _to(to), _anglesAreHalf(anglesAreHalf)
    {
        for (unsigned i = 0; i < from.mNumLights; ++i)
            _lights.emplace(from.mLights[i]->mName.C_Str(), i);
    }

    /// The node itself takes a light that stands like one of ours, unless it has a mesh; others go to a
    /// child.
    void giveTo(const aiNode& node, uint32_t index)
    {
        const auto range = _lights.equal_range(node.mName.C_Str());
        for (auto light = range.first; light != range.second; ++light)
            give(*_from.mLights[light->second], index);
        _lights.erase(range.first, range.second);
    }
    /// Those that could not be taken over.
    size_t left() const { return _lights.size() + _unknown; }

private:
    void give(const aiLight& from, uint32_t index)
    {
        ForeignLight light;
        if (!takeLight(from, _anglesAreHalf, light)) {
            ++_unknown;
            return;
        }
        ForeignNode holder;
        takePlace(from, holder.matrix);
        const ForeignNode none;
        const bool isPlain = std::equal(&holder.matrix[0][0], &holder.matrix[0][0] + 16, &none.matrix[0][0]);
        ForeignNode& node = _to.nodes[index];
        holder.light = static_cast<int>(_to.lights.size());
        if (isPlain && node.mesh < 0 && node.light < 0) {
            node.light = holder.light;
        } else {
            holder.name = light.name;
            node.children.push_back(static_cast<uint32_t>(_to.nodes.size()));
            _to.nodes.push_back(std::move(holder));
        }
        _to.lights.push_back(std::move(light));
    }

    const aiScene& _from;
    ForeignScene& _to;
    bool _anglesAreHalf;
    std::multimap<std::string, unsigned> _lights;
    size_t _unknown = 0;
};

/// A node's meshes: one goes to the node itself, several go to nodes of their own, before the other children.
void takeNodes(const aiScene& from, LightsByName& lights, ForeignScene& to)
{
    struct Step {
        const aiNode* node;
        uint32_t parent;
    };
    std::vector<Step> todo{{from.mRootNode, kNoIndex}};
    while (!todo.empty()) {
        const Step step = todo.back();
        todo.pop_back();
        ForeignNode node;
        node.name = legalNameOf(step.node->mName);
        takeMatrix(step.node->mTransformation, node.matrix);
        std::vector<int> meshes;
        for (unsigned i = 0; i < step.node->mNumMeshes; ++i)
            if (step.node->mMeshes[i] < to.meshes.size() &&
                !to.meshes[step.node->mMeshes[i]].data.faceCounts.empty())
                meshes.push_back(static_cast<int>(step.node->mMeshes[i]));
        // Some formats have no node that could stand at the top; the library then makes one that means
        // nothing.
        const bool isWrapper = step.parent == kNoIndex && node.name.empty() && meshes.empty() &&
                               step.node->mTransformation.IsIdentity() && step.node->mNumChildren > 0;
        uint32_t index = kNoIndex;
        if (!isWrapper) {
            index = static_cast<uint32_t>(to.nodes.size());
            to.nodes.push_back(std::move(node));
            (step.parent == kNoIndex ? to.roots : to.nodes[step.parent].children).push_back(index);
            if (meshes.size() == 1)
                to.nodes[index].mesh = meshes[0];
            for (size_t i = 0; i < meshes.size() && meshes.size() > 1; ++i) {
                ForeignNode holder;
                holder.name = to.meshes[static_cast<size_t>(meshes[i])].name;
                holder.mesh = meshes[i];
                to.nodes[index].children.push_back(static_cast<uint32_t>(to.nodes.size()));
                to.nodes.push_back(std::move(holder));
            }
        }
        if (!isWrapper)
            lights.giveTo(*step.node, index);
        for (unsigned i = step.node->mNumChildren; i-- > 0;)
            todo.push_back({step.node->mChildren[i], index});
    }
}

void takeScene(const aiScene& from, const std::string& path, const std::string& imageFolder, ForeignScene& to,
               Losses& losses)
{
    to.meshes.resize(from.mNumMeshes);
    for (unsigned i = 0; i < from.mNumMeshes; ++i) {
        takeMesh(*from.mMeshes[i], to.meshes[i], losses);
        losses.emptyMeshes += to.meshes[i].data.faceCounts.empty() ? 1 : 0;
    }
    EmbeddedImages images(from, imageFolder);
    for (unsigned i = 0; i < from.mNumMaterials; ++i) {
        to.materials.emplace_back();
        takeMaterial(*from.mMaterials[i], path, to.materials.back(), images, losses);
    }
    for (ForeignMesh& mesh : to.meshes)
        if (mesh.material >= static_cast<int>(to.materials.size()))
            mesh.material = -1;
    // The cone of a spot light is given by full angles, but for the formats that give half angles.
    const char* const suffix = path.c_str() + path.rfind('.') + 1;
    LightsByName lights(from, ::strcasecmp(suffix, "gltf") == 0 || ::strcasecmp(suffix, "glb") == 0, to);
    if (from.mRootNode) // files that hold nothing have none
        takeNodes(from, lights, to);
    losses.lights = lights.left();
}

// -- The process that reads -----------------------------------------------------------------------

/// Bytes to an open file.
class FileOutput : public Output
{
public:
    explicit FileOutput(int file) : _file(file) { _buffer.reserve(kBufferSize); }
    bool write(const void* bytes, size_t count) override
    {
        const char* const from = static_cast<const char*>(bytes);
        if (_buffer.size() + count > kBufferSize && !flush())
            return false;
        if (count >= kBufferSize)
            return give(from, count);
        _buffer.append(from, count);
        return true;
    }
    bool flush()
    {
        const bool done = give(_buffer.data(), _buffer.size());
        _buffer.clear();
        return done;
    }
    const std::string& error() const override { return _error; }

private:
    static constexpr size_t kBufferSize = 1 << 20;

    bool give(const char* from, size_t count)
    {
        while (count > 0) {
            const ssize_t written = ::write(_file, from, count);
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0) {
                _error = std::string("cannot be converted: ") + std::strerror(errno);
                return false;
            }
            from += written;
            count -= static_cast<size_t>(written);
        }
        return true;
    }

    int _file;
    std::string _buffer;
    std::string _error;
};

constexpr uint64_t kMegabyte = 1 << 20;

uint64_t secondsFor(uint64_t fileSize)
{
    return 60 + fileSize / kMegabyte;
}

#ifndef KELDA_ADDRESS_SANITIZER // which reserves terabytes
/// Address space now in use, in bytes.
uint64_t addressSpace()
{
    unsigned long pages = 0;
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%lu", &pages) != 1)
            pages = 0;
        std::fclose(file);
    }
    return static_cast<uint64_t>(pages) * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
}
#endif

void limit(int resource, uint64_t soft, uint64_t hard)
{
    rlimit now;
    if (::getrlimit(static_cast<__rlimit_resource_t>(resource), &now) != 0)
        return;
    rlimit wanted;
    wanted.rlim_max = std::min<rlim_t>(hard, now.rlim_max);
    wanted.rlim_cur = std::min<rlim_t>(soft, wanted.rlim_max);
    ::setrlimit(static_cast<__rlimit_resource_t>(resource), &wanted);
}

/// The import library must not take this process's crash handlers, standard streams or resources along.
void enterSandbox(uint64_t fileSize)
{
    for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGXCPU, SIGPIPE, SIGTERM, SIGINT})
        ::signal(signal, SIG_DFL);
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int stream = 0; stream < 3 && nothing >= 0; ++stream)
        ::dup2(nothing, stream);
    limit(RLIMIT_CORE, 0, 0);
    limit(RLIMIT_CPU, secondsFor(fileSize), secondsFor(fileSize) + 1);
#ifndef KELDA_ADDRESS_SANITIZER
    // A scene takes some ten times the room of its file. What is allowed on top of that is for files that
    // name others.
    const uint64_t room = addressSpace() + 2048 * kMegabyte + 64 * fileSize;
    limit(RLIMIT_AS, room, room);
#endif
}

/// One line for the waiting process: "!" and the reason of a failure, "+" and a note, "." when all is done.
void say(int pipe, char kind, std::string text)
{
    for (char& c : text)
        if (c == '\n' || c == '\r')
            c = ' ';
    text.insert(text.begin(), kind);
    text += '\n';
    const char* at = text.data();
    size_t left = text.size();
    while (left > 0) {
        const ssize_t written = ::write(pipe, at, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        at += written;
        left -= static_cast<size_t>(written);
    }
}

void note(int pipe, size_t count, const char* what)
{
    if (count > 0)
        say(pipe, '+', "left out: " + std::to_string(count) + " " + what);
}

bool readHere(const std::string& path, const std::string& imageFolder, int result, int pipe)
{
    Assimp::Importer importer;
    const aiScene* const scene = importer.ReadFile(path, 0);
    if (!scene) {
        const std::string why = importer.GetErrorString();
        say(pipe, '!', why.empty() ? "the file cannot be read" : why);
        return false;
    }
    ForeignScene foreign;
    Losses losses;
    takeScene(*scene, path, imageFolder, foreign, losses);
    arrangeForSharing(foreign);
    FileOutput output(result);
    BinaryWriter writer(output);
    if (!tellForeignScene(foreign, writer) || !output.flush()) {
        say(pipe, '!', writer.error().empty() ? output.error() : writer.error());
        return false;
    }
    note(pipe, losses.lowFaces, "points and lines");
    note(pipe, losses.wrongFaces, "faces with vertices that do not exist or are not finite");
    note(pipe, losses.emptyMeshes, "meshes without faces");
    note(pipe, losses.wrongNumbers, "normals and UVs that are not finite");
    note(pipe, losses.textures, "textures for anything but the colour");
    note(pipe, losses.images, "embedded images that could not be unpacked");
    note(pipe, losses.lights, "lights of no known kind or without a place");
    say(pipe, '.', "");
    return true;
}

[[noreturn]] void readAndExit(const std::string& path, uint64_t fileSize, const std::string& imageFolder,
                              int result, int pipe)
{
    enterSandbox(fileSize);
    int code = 1;
    try {
        code = readHere(path, imageFolder, result, pipe) ? 0 : 1;
    } catch (const std::bad_alloc&) {
        say(pipe, '!', "the file needs more memory than a file of its size may");
    } catch (const std::exception& problem) {
        say(pipe, '!', problem.what());
    } catch (...) {
        say(pipe, '!', "the file cannot be read");
    }
    ::_exit(code); // nothing of the parent's is flushed or destroyed twice
}

// -- The process that waits -----------------------------------------------------------------------

uint64_t milliseconds()
{
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

/// Everything that is said, until the other side is gone or `deadline` has passed.
bool listen(int pipe, uint64_t deadline, std::string& said)
{
    constexpr size_t kEnough = 1 << 16;
    char bytes[4096];
    for (;;) {
        const uint64_t now = milliseconds();
        if (now >= deadline)
            return false;
        pollfd wait = {pipe, POLLIN, 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(std::min<uint64_t>(deadline - now, 60000)));
        if (ready < 0 && errno != EINTR)
            return false;
        if (ready <= 0)
            continue;
        const ssize_t got = ::read(pipe, bytes, sizeof bytes);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return true;
        if (said.size() < kEnough)
            said.append(bytes, static_cast<size_t>(got));
    }
}

std::string reasonOf(int status)
{
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU)
        return "reading it took too long";
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        return "reading it took too long or too much memory";
    if (WIFSIGNALED(status))
        return "the import library crashed on it (signal " + std::to_string(WTERMSIG(status)) + ")";
    return "the import library gave up on it";
}

/// Closes what it holds.
struct Descriptor {
    int value = -1;
    ~Descriptor() { close(); }
    void close()
    {
        if (value >= 0)
            ::close(value);
        value = -1;
    }
};

} // namespace

const std::vector<std::string>& foreignSuffixes()
{
    static const std::vector<std::string> all = [] {
        std::string list; // "*.obj;*.ply;..."
        Assimp::Importer().GetExtensionList(list);
        std::vector<std::string> suffixes;
        for (size_t from = 0; from < list.size();) {
            const size_t to = std::min(list.find(';', from), list.size());
            const size_t start = list.find_first_not_of("*.", from);
            if (start < to) {
                const std::string suffix = list.substr(start, to - start);
                // What stands behind the last dot of a name is its suffix; longer ones never match.
                if (suffix.find('.') == std::string::npos)
                    suffixes.push_back(suffix);
            }
            from = to + 1;
        }
        std::sort(suffixes.begin(), suffixes.end());
        suffixes.erase(std::unique(suffixes.begin(), suffixes.end()), suffixes.end());
        return suffixes;
    }();
    return all;
}

bool isForeignSuffix(const std::string& suffix)
{
    return std::binary_search(foreignSuffixes().begin(), foreignSuffixes().end(), suffix);
}

// The child allocates after fork(). Only async-signal-safe calls are promised to work there when the parent
// has other threads; glibc goes further and hands the child a working allocator, and no other lock of the
// parent's is needed.
bool readForeign(const std::string& path, SceneSink& sink, std::vector<std::string>& notes,
                 std::string& error, std::shared_ptr<ImageFolder>& images)
{
    struct stat about;
    if (::stat(path.c_str(), &about) != 0) {
        error = std::strerror(errno);
        return false;
    }
    const uint64_t fileSize = static_cast<uint64_t>(about.st_size);
    Descriptor result;
    Descriptor ends[2];
    int pipe[2];
    result.value = ::memfd_create("kelda import", MFD_CLOEXEC);
    if (result.value < 0 || ::pipe2(pipe, O_CLOEXEC) != 0) {
        error = std::string("cannot be imported: ") + std::strerror(errno);
        return false;
    }
    ends[0].value = pipe[0];
    ends[1].value = pipe[1];
    std::shared_ptr<ImageFolder> folder = ImageFolder::make();
    const pid_t child = ::fork();
    if (child < 0) {
        error = std::string("cannot be imported: ") + std::strerror(errno);
        return false;
    }
    if (child == 0)
        readAndExit(path, fileSize, folder ? folder->path() : std::string(), result.value, pipe[1]);
    ends[1].close();
    std::string said;
    const bool inTime = listen(pipe[0], milliseconds() + 2000 * secondsFor(fileSize), said);
    if (!inTime)
        ::kill(child, SIGKILL);
    int status = 0;
    pid_t waited = -1;
    do
        waited = ::waitpid(child, &status, 0);
    while (waited < 0 && errno == EINTR);

    // What was said counts; the exit status only explains silence (a host may reap its children itself).
    bool done = false;
    for (size_t from = 0; from < said.size();) {
        const size_t to = std::min(said.find('\n', from), said.size());
        const std::string text = said.substr(from + 1, to - from - 1);
        if (said[from] == '.')
            done = true;
        else if (said[from] == '+')
            notes.push_back(text);
        else if (error.empty())
            error = text;
        from = to + 1;
    }
    if (!done) {
        if (error.empty())
            error = waited == child ? reasonOf(status) : "the import library gave up on it";
        return false;
    }
    if (!readBinary(result.value, sink, error))
        return false;
    if (folder && !folder->isEmpty())
        images = std::move(folder);
    return true;
}

} // namespace kelda
