// Reads one model part of a 3MF file.

#include "import/scan/ThreeMfPart.h"

#include <cstdlib>
#include <sstream>

#include "import/scan/Xml.h"

namespace rt {

namespace {

// "#RRGGBB" or "#RRGGBBAA".
std::array<double, 4> colourOf(std::string_view s) {
    std::array<double, 4> v{255, 255, 255, 255};
    for (size_t u = 0; u < 4 && 2 * u + 2 < s.size(); ++u)
        v[u] = static_cast<double>(strtoul(std::string(s.substr(2 * u + 1, 2)).c_str(), nullptr, 16));
    return v;
}

template <typename Number>
std::vector<Number> numbersOf(const std::string& s) {
    std::istringstream in(s);
    std::vector<Number> v;
    for (Number n; in >> n;) v.push_back(n);
    return v;
}

PartInstance instanceOf(const Xml& xml) {
    PartInstance instance;
    instance.uObject = xml.index("objectid", 0);
    instance.sPath = xml.text("path");
    const std::vector<double> v = numbersOf<double>(xml.text("transform"));
    for (size_t u = 0; u < 12 && v.size() == 12; ++u) instance.matrix[u] = v[u];
    return instance;
}

class PartReader {
 public:
    explicit PartReader(ThreeMfPart& p) : part(p) {}

    void take(const Xml& xml) {
        const std::string_view s = xml.name();
        if (s == "vertex" && pObject) {
            pObject->vVertices.push_back({xml.number("x", 0), xml.number("y", 0), xml.number("z", 0)});
        } else if (s == "triangle" && pObject) {
            takeTriangle(xml);
        } else if (s == "component" && pObject) {
            pObject->vComponents.push_back(instanceOf(xml));
        } else if (s == "item") {
            part.vItems.push_back(instanceOf(xml));
        } else if (s == "object") {
            pObject = &part.objects[xml.index("id", 0)];
            pObject->uGroup = xml.index("pid", NO_PAINT);
            pObject->uPaint = xml.index("pindex", NO_PAINT);
            pObject->sName = xml.text("name");
        } else if (s == "texture2d") {
            textures[xml.index("id", 0)] = xml.text("path");
        } else {
            takePaint(xml);
        }
    }

 private:
    void takeTriangle(const Xml& xml) {
        PartTriangle t;
        const auto read = [&](const char* szAttribute) { return xml.index(szAttribute, NO_PAINT); };
        t.uVertices[0] = read("v1"), t.uVertices[1] = read("v2"), t.uVertices[2] = read("v3");
        t.uGroup = read("pid");
        t.uPaints[0] = read("p1"), t.uPaints[1] = read("p2"), t.uPaints[2] = read("p3");
        pObject->vTriangles.push_back(t);
    }

    void takePaint(const Xml& xml) {
        const std::string_view s = xml.name();
        if (s == "basematerials" || s == "colorgroup" || s == "texture2dgroup" || s == "compositematerials" ||
            s == "multiproperties") {
            pGroup = &part.groups[xml.index("id", 0)];
            if (s == "texture2dgroup") pGroup->sTexture = textures[xml.index("texid", 0)];
            vLayers = numbersOf<unsigned>(xml.text(s == "multiproperties" ? "pids" : "matindices"));
            uBase = xml.index("matid", 0);
        } else if (!pGroup) {
            return;
        } else if (s == "base") {
            pGroup->vPaints.push_back({colourOf(xml.raw("displaycolor")), xml.text("name")});
        } else if (s == "color") {
            pGroup->vPaints.push_back({colourOf(xml.raw("color")), ""});
        } else if (s == "tex2coord") {
            pGroup->vPaints.push_back({{xml.number("u", 0), xml.number("v", 0), 0, 255}, ""});
        } else if (s == "composite") {
            pGroup->vPaints.push_back(mixOf(numbersOf<double>(xml.text("values"))));
        } else if (s == "multi") {
            const std::vector<unsigned> vIndices = numbersOf<unsigned>(xml.text("pindices"));
            const Paint* p = vLayers.empty() ? nullptr : find(vLayers[0], vIndices.empty() ? 0 : vIndices[0]);
            if (!vLayers.empty()) pGroup->sTexture = part.groups[vLayers[0]].sTexture;
            pGroup->vPaints.push_back(p ? *p : Paint());
        }
    }

    const Paint* find(uint32_t uGroup, uint32_t uPaint) const {
        const auto found = part.groups.find(uGroup);
        return found != part.groups.end() && uPaint < found->second.vPaints.size() ? &found->second.vPaints[uPaint]
                                                                                   : nullptr;
    }

    Paint mixOf(const std::vector<double>& vShares) const {
        Paint paint;
        double dSum = 0;
        std::array<double, 4> v{};
        for (size_t u = 0; u < vShares.size() && u < vLayers.size(); ++u) {
            const Paint* p = find(uBase, vLayers[u]);
            for (size_t i = 0; p && i < 4; ++i) v[i] += p->vColour[i] * vShares[u];
            if (p) dSum += vShares[u];
        }
        for (size_t i = 0; dSum > 0 && i < 4; ++i) paint.vColour[i] = v[i] / dSum;
        return paint;
    }

    ThreeMfPart& part;
    PartObject* pObject = nullptr;  // the one that the tags belong to
    PaintGroup* pGroup = nullptr;
    std::map<uint32_t, std::string> textures;
    std::vector<unsigned> vLayers;  // of a group that is made of others
    uint32_t uBase = 0;
};

}  // namespace

void ThreeMfPart::read(const std::string& sXml) {
    Xml xml(sXml);
    PartReader reader(*this);
    while (xml.next()) {
        if (xml.isStart()) reader.take(xml);
    }
}

}  // namespace rt
