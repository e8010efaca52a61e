#include "Compare.h"

#include "CompareTree.h"
#include "CompareUses.h"
#include "JsonWriter.h"
#include "Text.h"

#include <zyOpenSGUtils/zyNodeUtils.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

namespace zyscene
{

namespace
{
const char* const kindNames[Difference::kindCount] = {"missing",   "extra",    "renamed", "moved",
                                                      "triangles", "normals",  "uvs",     "visibility",
                                                      "material",  "structure"};
}

const char* nameOf(Difference::Kind kind)
{
    return kindNames[kind];
}

std::string pathOf(const osg::NodePtr& node)
{
    // Deep places are shortened in the middle: a path is for people.
    constexpr std::size_t shownAbove = 4;
    constexpr std::size_t shownBelow = 8;
    std::vector<osg::NodePtr> nodes;
    for (osg::NodePtr n = node; n != osg::NullFC; n = n->getParent())
        nodes.push_back(n);
    std::reverse(nodes.begin(), nodes.end());

    std::string result;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (i == shownAbove && nodes.size() > shownAbove + shownBelow) {
            i = nodes.size() - shownBelow;
            result += "/...";
        }
        const std::string name = zyNodeUtils::getName(nodes[i]);
        result += '/';
        result += name.empty() ? "(unnamed)" : name;
        if (i == 0)
            continue;
        unsigned int number = 0;
        unsigned int count = 0;
        const osg::NodePtr parent = nodes[i - 1];
        for (osg::UInt32 k = 0; k < parent->getNChildren(); ++k) {
            const osg::NodePtr sibling = parent->getChild(k);
            if (zyNodeUtils::getName(sibling) == name)
                ++count;
            if (sibling == nodes[i])
                number = count;
        }
        if (count > 1)
            result += "[" + std::to_string(number) + "]";
    }
    return result;
}

std::string lineOf(const Difference& difference)
{
    return std::string(nameOf(difference.kind)) + " " + pathOf(difference.node()) + ": " + difference.text;
}

void writeDifference(JsonWriter& json, const Difference& difference)
{
    const auto path = [&json](const char* key, const osg::NodePtr& node) {
        json.key(key);
        if (node == osg::NullFC)
            json.null();
        else
            json.value(std::string_view(pathOf(node)));
    };
    json.beginObject(JsonWriter::OneLine);
    json.member("kind", nameOf(difference.kind));
    path("first", difference.first);
    path("second", difference.second);
    json.member("text", std::string_view(difference.text));
    json.endObject();
}

namespace
{

// -- Pairing ---------------------------------------------------------------------------------------------

/// What has to agree for two uses to be paired. Stages are gone through in order: the first that finds a
/// partner decides what the difference is.
struct Stage {
    bool name;
    bool triangles;
    bool state; ///< visibility and material
    bool place;
};

const Stage stages[] = {
    {true, true, true, true},    // the same
    {true, true, false, true},   // shown or coloured differently
    {false, true, true, true},   // renamed
    {false, true, false, true},  //
    {true, false, false, true},  // other triangles
    {true, true, false, false},  // moved
    {true, false, false, false}, // other triangles at another place
};

/// A use as pairing sees it; equal numbers mean equal things in both scenes.
struct Candidate {
    const Use* use;
    std::uint32_t name;
    std::uint32_t triangles;
    std::uint32_t state;
    std::uint32_t partner = noPartner;

    static constexpr std::uint32_t noPartner = 0xffffffffu;
};

/// Hands out a number for each different value.
template <class ValueT>
class Numbers
{
public:
    std::uint32_t of(const ValueT& value)
    {
        return _numbers.emplace(value, static_cast<std::uint32_t>(_numbers.size())).first->second;
    }

private:
    std::map<ValueT, std::uint32_t> _numbers;
};

typedef std::vector<std::uint32_t> Members;

/// Uses of the two scenes among which partners are looked for.
struct Group {
    Members first;
    Members second;
};

class Pairing
{
public:
    Pairing(DrawnScene& first, DrawnScene& second, const CompareOptions& options, double tolerance);

    const std::vector<Candidate>& first() const { return _first; }
    const std::vector<Candidate>& second() const { return _second; }

private:
    void addCandidates(DrawnScene& scene, std::vector<Candidate>& candidates);
    void collectBare(DrawnScene& scene);
    const Digest& digestOf(DrawnShape& shape);
    void run(const Stage& stage);
    void pairInOrder(const Group& group);
    void pairByPlace(const Group& group);
    void pair(std::uint32_t first, std::uint32_t second)
    {
        _first[first].partner = second;
        _second[second].partner = first;
    }

    const CompareOptions& _options;
    const double _tolerance;
    Numbers<std::string> _names;
    Numbers<Digest> _digests;
    Numbers<std::string> _states;
    std::set<Digest> _bare; ///< of the first scene, whatever their normals: CompareOptions::normalsMade
    std::vector<Candidate> _first;
    std::vector<Candidate> _second;
};

Pairing::Pairing(DrawnScene& first, DrawnScene& second, const CompareOptions& options, double tolerance)
    : _options(options), _tolerance(tolerance)
{
    _names.of(""); // number 0: what has no name
    if (attributesOf(options).normals && options.normalsMade)
        collectBare(first);
    addCandidates(first, _first);
    addCandidates(second, _second);
    for (const Stage& stage : stages)
        run(stage);
}

void Pairing::collectBare(DrawnScene& scene)
{
    Attributes attributes = attributesOf(_options);
    attributes.normals = false;
    for (const Use& use : scene.uses()) {
        if (!use.shape->hasNormals())
            _bare.insert(use.shape->digest(attributes));
    }
}

const Digest& Pairing::digestOf(DrawnShape& shape)
{
    Attributes attributes = attributesOf(_options);
    if (!_bare.empty()) {
        attributes.normals = false;
        const Digest& bare = shape.digest(attributes);
        if (_bare.count(bare) != 0)
            return bare;
        attributes.normals = true;
    }
    return shape.digest(attributes);
}

void Pairing::addCandidates(DrawnScene& scene, std::vector<Candidate>& candidates)
{
    struct Known {
        std::uint32_t name;
        std::uint32_t triangles;
    };
    std::unordered_map<const DrawnShape*, Known> known;
    std::unordered_map<const MaterialLook*, std::uint32_t> looks;
    candidates.reserve(scene.uses().size());
    for (const Use& use : scene.uses()) {
        auto shape = known.find(use.shape);
        if (shape == known.end()) {
            const std::uint32_t name = _options.names ? _names.of(*use.name) : 0;
            shape = known.emplace(use.shape, Known{name, _digests.of(digestOf(*use.shape))}).first;
        }
        std::uint32_t look = 0;
        if (_options.materials) {
            auto found = looks.find(use.material);
            if (found == looks.end())
                found = looks.emplace(use.material, _states.of(use.material->hint())).first;
            look = found->second;
        }
        candidates.push_back({&use, shape->second.name, shape->second.triangles,
                              2 * look + (use.visible ? 1u : 0u), Candidate::noPartner});
    }
}

void Pairing::run(const Stage& stage)
{
    struct Key {
        std::uint32_t name;
        std::uint32_t triangles;
        std::uint32_t state;
        bool operator==(const Key& other) const
        {
            return name == other.name && triangles == other.triangles && state == other.state;
        }
    };
    struct HashKey {
        std::size_t operator()(const Key& key) const
        {
            const std::uint64_t both = (std::uint64_t(key.name) << 32 | key.triangles) * 0x9e3779b97f4a7c15u;
            return static_cast<std::size_t>((both ^ both >> 29 ^ key.state) * 0xbf58476d1ce4e5b9u);
        }
    };
    std::unordered_map<Key, std::size_t, HashKey> numbers;
    std::vector<Group> groups;

    for (const bool inFirst : {true, false}) {
        const std::vector<Candidate>& candidates = inFirst ? _first : _second;
        for (std::uint32_t i = 0; i < candidates.size(); ++i) {
            const Candidate& candidate = candidates[i];
            if (candidate.partner != Candidate::noPartner)
                continue;
            // Without a name there is nothing that tells what has moved and changed from what is new.
            if (!stage.place && !stage.triangles && candidate.name == 0)
                continue;
            const Key key = {stage.name ? candidate.name : 0, stage.triangles ? candidate.triangles : 0,
                             stage.state ? candidate.state : 0};
            const auto found = numbers.emplace(key, groups.size());
            if (found.second) {
                if (!inFirst) {
                    numbers.erase(found.first);
                    continue;
                }
                groups.emplace_back();
            }
            Group& group = groups[found.first->second];
            (inFirst ? group.first : group.second).push_back(i);
        }
    }
    for (const Group& group : groups) {
        if (group.second.empty())
            continue;
        if (stage.place)
            pairByPlace(group);
        else
            pairInOrder(group);
    }
}

void Pairing::pairInOrder(const Group& group)
{
    for (std::size_t i = 0; i < group.first.size() && i < group.second.size(); ++i)
        pair(group.first[i], group.second[i]);
}

// -- Places ----------------------------------------------------------------------------------------------

/// Where a use puts the corners of a box.
struct Placed {
    std::array<std::array<double, 4>, 8> corners;

    Placed(const Use& use, const Box& box)
    {
        for (unsigned int i = 0; i < 8; ++i) {
            double corner[3];
            double placed[4];
            cornerOf(box, i, corner);
            place(use.world, corner, placed);
            std::copy(placed, placed + 4, corners[i].begin());
        }
    }

    bool isNear(const Placed& other, double tolerance) const
    {
        for (unsigned int i = 0; i < 8; ++i) {
            double squares = 0;
            for (unsigned int k = 0; k < 4; ++k) {
                const double a = corners[i][k];
                const double b = other.corners[i][k];
                if (a == b || (std::isnan(a) && std::isnan(b)))
                    continue;
                // w is a factor, not a distance.
                if (k == 3 && std::fabs(a - b) <= defaultTolerance)
                    continue;
                squares += k == 3 ? HUGE_VAL : (a - b) * (a - b);
            }
            if (!(squares <= tolerance * tolerance))
                return false;
        }
        return true;
    }

    /// A mean of coordinates with weights that no arrangement of things in space favours: places that are
    /// near each other have near means, and seldom have others.
    double mean() const
    {
        static const double weights[12] = {0.1181, 0.0527, 0.0913, 0.0397, 0.1039, 0.0719,
                                           0.0653, 0.0971, 0.0461, 0.1217, 0.0829, 0.1093};
        static const unsigned int of[4] = {0, 1, 2, 4}; // four corners tell an affine map of the box
        double sum = 0;
        for (unsigned int i = 0; i < 12; ++i) {
            const double value = corners[of[i / 3]][i % 3];
            sum += std::isfinite(value) ? weights[i] * value : 0;
        }
        return sum;
    }
};

/// The next one of a row that is still free; taken ones are skipped in constant time.
class FreeList
{
public:
    explicit FreeList(std::size_t size) : _next(size + 1)
    {
        for (std::size_t i = 0; i <= size; ++i)
            _next[i] = i;
    }
    std::size_t from(std::size_t i)
    {
        std::size_t end = i;
        while (_next[end] != end)
            end = _next[end];
        while (_next[i] != end) {
            const std::size_t next = _next[i];
            _next[i] = end;
            i = next;
        }
        return end;
    }
    void take(std::size_t i) { _next[i] = i + 1; }

private:
    std::vector<std::size_t> _next;
};

// In the order of the first scene each use takes the first partner within the tolerance, along the sorted
// means of places. The window is as narrow as the tolerance, so that few are looked at.
void Pairing::pairByPlace(const Group& group)
{
    Box common;
    for (const std::uint32_t i : group.first)
        common.extend(_first[i].use->shape->box());
    for (const std::uint32_t i : group.second)
        common.extend(_second[i].use->shape->box());
    const auto boxOf = [&](const Use& use) -> const Box& {
        return _options.exactTriangles ? common : use.shape->box();
    };

    std::vector<std::pair<double, std::uint32_t>> row;
    row.reserve(group.second.size());
    for (const std::uint32_t i : group.second)
        row.emplace_back(Placed(*_second[i].use, boxOf(*_second[i].use)).mean(), i);
    std::sort(row.begin(), row.end());

    FreeList open(row.size());
    for (const std::uint32_t i : group.first) {
        const Placed placed(*_first[i].use, boxOf(*_first[i].use));
        const double mean = placed.mean();
        const double reach = _tolerance + 1e-12 * std::fabs(mean);
        const auto start =
            std::lower_bound(row.begin(), row.end(), mean - reach,
                             [](const auto& entry, double value) { return entry.first < value; });
        for (std::size_t k = open.from(static_cast<std::size_t>(start - row.begin()));
             k < row.size() && row[k].first <= mean + reach; k = open.from(k + 1)) {
            const std::uint32_t other = row[k].second;
            const Use& partner = *_second[other].use;
            if (placed.isNear(Placed(partner, boxOf(partner)), _tolerance)) {
                pair(i, other);
                open.take(k);
                break;
            }
        }
    }
}

// -- Reporting -------------------------------------------------------------------------------------------

std::string textOf(double number)
{
    char text[32];
    const std::to_chars_result end = std::to_chars(text, text + sizeof(text), static_cast<float>(number));
    return std::string(text, end.ptr);
}

std::string placeText(const Use& use, const Box& box)
{
    const double middle[3] = {(box.min[0] + box.max[0]) / 2, (box.min[1] + box.max[1]) / 2,
                              (box.min[2] + box.max[2]) / 2};
    double placed[4];
    place(use.world, middle, placed);
    return "(" + textOf(placed[0]) + ", " + textOf(placed[1]) + ", " + textOf(placed[2]) + ")";
}

class Reporter
{
public:
    Reporter(DrawnScene& first, DrawnScene& second, const CompareOptions& options, double tolerance)
        : _firstScene(first), _secondScene(second), _options(options), _tolerance(tolerance)
    {
    }

    void reportAlone(const Use& use, Difference::Kind kind);
    void reportPair(const Use& first, const Use& second);
    std::vector<Difference> take();

private:
    void add(Difference::Kind kind, const Use& first, const Use& second, std::string text)
    {
        _found[kind].push_back({kind, first.node, second.node, std::move(text)});
    }
    void compareNames(const Use& first, const Use& second);
    void comparePlaces(const Use& first, const Use& second);
    void compareTriangles(const Use& first, const Use& second);
    void compareState(const Use& first, const Use& second);
    const std::string& materialDifference(const MaterialLook& first, const MaterialLook& second);
    bool differ(const Use& first, const Use& second, const Attributes& attributes)
    {
        return first.shape->digest(attributes) != second.shape->digest(attributes);
    }
    bool isTaken(const std::string& name) const
    {
        return _firstScene.takenNames().count(name) != 0 || _secondScene.takenNames().count(name) != 0;
    }

    DrawnScene& _firstScene;
    DrawnScene& _secondScene;
    const CompareOptions& _options;
    const double _tolerance;
    std::array<std::vector<Difference>, Difference::kindCount> _found;
    std::map<std::pair<const MaterialLook*, const MaterialLook*>, std::string> _materials;
};

std::string countText(const Digest& digest)
{
    std::string text = plural(digest.triangles, "triangle");
    if (digest.others != 0)
        text += ", " + plural(digest.others, "point or line");
    return text;
}

void Reporter::reportAlone(const Use& use, Difference::Kind kind)
{
    std::string text =
        countText(use.shape->digest(attributesOf(_options))) + " at " + placeText(use, use.shape->box());
    if (use.belowInactive)
        text += ", inactive";
    else if (!use.visible)
        text += ", not shown";
    const bool inFirst = kind == Difference::Missing;
    _found[kind].push_back(
        {kind, inFirst ? use.node : osg::NodePtr(), inFirst ? osg::NodePtr() : use.node, std::move(text)});
}

void Reporter::reportPair(const Use& first, const Use& second)
{
    if (_options.names)
        compareNames(first, second);
    comparePlaces(first, second);
    compareTriangles(first, second);
    compareState(first, second);
}

void Reporter::compareNames(const Use& first, const Use& second)
{
    const std::string& a = *first.name;
    const std::string& b = *second.name;
    if (a == b || (withoutNumber(a) == withoutNumber(b) && (isTaken(a) || isTaken(b))))
        return;
    add(Difference::Renamed, first, second, "'" + a + "' and '" + b + "'");
}

void Reporter::comparePlaces(const Use& first, const Use& second)
{
    Box box = first.shape->box();
    box.extend(second.shape->box());
    const Box& ofFirst = _options.exactTriangles ? box : first.shape->box();
    const Box& ofSecond = _options.exactTriangles ? box : second.shape->box();
    if (Placed(first, ofFirst).isNear(Placed(second, ofSecond), _tolerance))
        return;
    const std::string a = placeText(first, ofFirst);
    const std::string b = placeText(second, ofSecond);
    add(Difference::Moved, first, second, a == b ? "turned or scaled about " + a : "at " + a + " and " + b);
}

void Reporter::compareTriangles(const Use& first, const Use& second)
{
    Attributes attributes;
    attributes.positions = _options.exactTriangles;
    if (differ(first, second, attributes)) {
        const std::string a = countText(first.shape->digest(attributes));
        const std::string b = countText(second.shape->digest(attributes));
        add(Difference::Triangles, first, second,
            a == b ? "other positions, " + a + " in both" : a + " and " + b);
        return;
    }

    const auto whose = [](bool inFirst, bool inSecond) {
        return inFirst == inSecond ? "other values" : inFirst ? "in the first only" : "in the second only";
    };
    bool found = false;
    const bool normals =
        attributesOf(_options).normals && (!_options.normalsMade || first.shape->hasNormals());
    attributes.normals = normals;
    if (normals && differ(first, second, attributes)) {
        add(Difference::Normals, first, second,
            whose((first.shape->digest(attributes).attributes & 1) != 0,
                  (second.shape->digest(attributes).attributes & 1) != 0));
        found = true;
    }
    if (!_options.uvs)
        return;
    attributes.normals = false;
    for (attributes.uvChannel = 0; attributes.uvChannel < uvChannelCount; ++attributes.uvChannel) {
        const bool inFirst = first.shape->hasUVs(attributes.uvChannel);
        const bool inSecond = second.shape->hasUVs(attributes.uvChannel);
        if (attributes.uvChannel > 0 && !(inFirst && inSecond))
            continue;
        if ((inFirst || inSecond) && differ(first, second, attributes)) {
            add(Difference::UVs, first, second,
                "set " + std::to_string(attributes.uvChannel + 1) + ": " + whose(inFirst, inSecond));
            found = true;
        }
    }
    // The same normals and the same texture coordinates, at other corners.
    attributes = attributesOf(_options);
    attributes.normals = normals;
    if (!found && differ(first, second, attributes))
        add(Difference::UVs, first, second, "other values");
}

void Reporter::compareState(const Use& first, const Use& second)
{
    if (first.visible != second.visible)
        add(Difference::Visibility, first, second, first.visible ? "shown and hidden" : "hidden and shown");
    if (!_options.materials || first.material == second.material)
        return;
    const std::string& text = materialDifference(*first.material, *second.material);
    if (!text.empty())
        add(Difference::Material, first, second, text);
    else if (_options.names && first.material->name != second.material->name)
        add(Difference::Material, first, second,
            "named '" + first.material->name + "' and '" + second.material->name + "'");
}

// Each pair of materials is compared once.
const std::string& Reporter::materialDifference(const MaterialLook& first, const MaterialLook& second)
{
    const auto found = _materials.emplace(std::make_pair(&first, &second), std::string());
    if (found.second)
        found.first->second = textOf(differencesOf(first, second));
    return found.first->second;
}

std::vector<Difference> Reporter::take()
{
    std::vector<Difference> result;
    for (std::vector<Difference>& ofKind : _found)
        std::move(ofKind.begin(), ofKind.end(), std::back_inserter(result));
    return result;
}

} // namespace

// -- The comparison --------------------------------------------------------------------------------------

std::vector<Difference> compareScenes(const osg::NodePtr& first, const osg::NodePtr& second,
                                      const CompareOptions& options)
{
    DrawnScene firstScene(first, options.ignoreInactive, options);
    DrawnScene secondScene(second, false, options);
    const double tolerance = options.tolerance >= 0
                                 ? options.tolerance
                                 : defaultTolerance * std::max(firstScene.size(), secondScene.size());

    const Pairing pairing(firstScene, secondScene, options, tolerance);
    Reporter reporter(firstScene, secondScene, options, tolerance);
    for (const Candidate& candidate : pairing.first()) {
        if (candidate.partner == Candidate::noPartner)
            reporter.reportAlone(*candidate.use, Difference::Missing);
        else
            reporter.reportPair(*candidate.use, *pairing.second()[candidate.partner].use);
    }
    for (const Candidate& candidate : pairing.second()) {
        if (candidate.partner == Candidate::noPartner)
            reporter.reportAlone(*candidate.use, Difference::Extra);
    }
    std::vector<Difference> result = reporter.take();
    if (options.tree)
        compareTrees(firstScene, first, secondScene, second, options, tolerance, result);
    return result;
}

} // namespace zyscene
