// The IFC exporter against the work it cannot avoid. For Debian's sample house and for a large
// generated model (repeated storeys of walls, slabs and doors with property sets, quantities, a
// type and a material), each run in a child process of its own:
//   load              IFC++ alone reading the file, as the exporter reads it (from a string);
//   xlsx_csv          the exporter writing XLSX and CSV (--skip-dae);
//   dae               the exporter writing DAE (the CSV is always written too);
//   assimp_dae        `assimp export <file> <out>.dae`, another tool doing the same job.
// Times are medians of wall-clock time; peak memory is the child's maximum resident set.
//
// Usage: bench_ifc_exporter [generated model size in MB, default 100] [runs, default 3]

#include "benchsupport.h"

#include <QDir>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <ifcpp/model/BuildingModel.h>
#include <ifcpp/reader/ReaderSTEP.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Measure
{
    double seconds = 0;
    double peakMiB = 0;
    int exitCode = -1;
};

// Runs `work` in a forked child and measures it from outside, so every contestant pays for its
// own start and its memory is its own.
template <typename Work> Measure inChild(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid == 0)
        _exit(work());
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    Measure m;
    m.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    m.peakMiB = static_cast<double>(usage.ru_maxrss) / 1024.0;
    m.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return m;
}

Measure runProgram(const std::vector<std::string> &arguments)
{
    return inChild([&arguments] {
        std::vector<char *> argv;
        for (const std::string &a : arguments)
            argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        std::freopen("/dev/null", "w", stdout);
        std::freopen("/dev/null", "w", stderr);
        execv(argv[0], argv.data());
        return 127;
    });
}

Measure loadOnly(const std::string &path)
{
    return inChild([&path] {
        std::ifstream in(path, std::ios::binary);
        std::stringstream buffer;
        buffer << in.rdbuf();
        std::string content = buffer.str();
        auto model = std::make_shared<BuildingModel>();
        ReaderSTEP reader;
        reader.loadModelFromString(content, model);
        return model->getIfcProject() ? 0 : 1;
    });
}

Measure medianOf(const std::vector<Measure> &runs)
{
    std::vector<double> seconds, peaks;
    for (const Measure &m : runs) {
        if (m.exitCode != 0)
            return m;
        seconds.push_back(m.seconds);
        peaks.push_back(m.peakMiB);
    }
    return {::median(seconds), ::median(peaks), 0};
}

// A model of `storeys` storeys with `perStorey` elements each; every element has its own
// placement, profile and extrusion, a property set and quantities, so the file grows the way
// real ones do.
void generateModel(const std::string &path, int storeys, int perStorey)
{
    std::ofstream out(path, std::ios::binary);
    out << "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('ViewDefinition [CoordinationView]'),'2;1');\n"
           "FILE_NAME('generated.ifc','2026-01-01T00:00:00',('bench'),('bench'),'bench','bench','');\n"
           "FILE_SCHEMA(('IFC4'));\nENDSEC;\nDATA;\n"
           "#1=IFCPERSON($,'Bench',$,$,$,$,$,$);\n#2=IFCORGANIZATION($,'Bench',$,$,$);\n"
           "#3=IFCPERSONANDORGANIZATION(#1,#2,$);\n#4=IFCAPPLICATION(#2,'1','Bench','Bench');\n"
           "#5=IFCOWNERHISTORY(#3,#4,$,.ADDED.,$,$,$,1700000000);\n"
           "#10=IFCSIUNIT(*,.LENGTHUNIT.,.MILLI.,.METRE.);\n#13=IFCUNITASSIGNMENT((#10));\n"
           "#20=IFCCARTESIANPOINT((0.,0.,0.));\n#21=IFCDIRECTION((0.,0.,1.));\n#22=IFCDIRECTION((1.,0.,0.));"
           "\n"
           "#23=IFCAXIS2PLACEMENT3D(#20,#21,#22);\n#24=IFCGEOMETRICREPRESENTATIONCONTEXT($,'Model',3,1.E-05,#"
           "23,$);\n"
           "#25=IFCCARTESIANPOINT((0.,0.));\n#26=IFCAXIS2PLACEMENT2D(#25,$);\n"
           "#30=IFCPROJECT('0000000000000000000001',#5,'Generated',$,$,$,$,(#24),#13);\n"
           "#40=IFCLOCALPLACEMENT($,#23);\n#41=IFCSITE('0000000000000000000002',#5,'Site',$,$,#40,$,$,."
           "ELEMENT.,$,$,$,$,$);\n"
           "#42=IFCBUILDING('0000000000000000000003',#5,'Tower',$,$,#40,$,$,.ELEMENT.,$,$,$);\n"
           "#43=IFCRELAGGREGATES('0000000000000000000004',#5,$,$,#30,(#41));\n"
           "#44=IFCRELAGGREGATES('0000000000000000000005',#5,$,$,#41,(#42));\n"
           "#50=IFCMATERIAL('Concrete',$,$);\n"
           "#51=IFCWALLTYPE('0000000000000000000006',#5,'Wall 200',$,$,$,$,$,$,.SOLIDWALL.);\n";
    long long id = 100;
    int guid = 100;
    const auto newGuid = [&guid] {
        char text[23];
        std::snprintf(text, sizeof text, "%022d", guid++);
        return std::string(text);
    };
    std::vector<long long> storeyIds;
    for (int s = 0; s < storeys; ++s) {
        const long long point = id++, axes = id++, placement = id++, storey = id++;
        out << '#' << point << "=IFCCARTESIANPOINT((0.,0.," << s * 3000 << ".));\n"
            << '#' << axes << "=IFCAXIS2PLACEMENT3D(#" << point << ",#21,#22);\n"
            << '#' << placement << "=IFCLOCALPLACEMENT(#40,#" << axes << ");\n"
            << '#' << storey << "=IFCBUILDINGSTOREY('" << newGuid() << "',#5,'Storey " << s << "',$,$,#"
            << placement << ",$,$,.ELEMENT.," << s * 3000 << ".);\n";
        storeyIds.push_back(storey);
        std::vector<long long> elements;
        for (int e = 0; e < perStorey; ++e) {
            const long long p = id++, a = id++, lp = id++, profile = id++, solid = id++, shape = id++,
                            pds = id++, element = id++;
            const char *kind = e % 10 == 0 ? "IFCSLAB" : e % 10 == 1 ? "IFCDOOR" : "IFCWALL";
            out << '#' << p << "=IFCCARTESIANPOINT((" << (e % 50) * 500 << ".," << (e / 50) * 500
                << ".,0.));\n"
                << '#' << a << "=IFCAXIS2PLACEMENT3D(#" << p << ",#21,#22);\n"
                << '#' << lp << "=IFCLOCALPLACEMENT(#" << placement << ",#" << a << ");\n"
                << '#' << profile << "=IFCRECTANGLEPROFILEDEF(.AREA.,$,#26," << 400 + e % 7 * 100
                << ".,200.);\n"
                << '#' << solid << "=IFCEXTRUDEDAREASOLID(#" << profile << ",#23,#21,2800.);\n"
                << '#' << shape << "=IFCSHAPEREPRESENTATION(#24,'Body','SweptSolid',(#" << solid << "));\n"
                << '#' << pds << "=IFCPRODUCTDEFINITIONSHAPE($,$,(#" << shape << "));\n"
                << '#' << element << '=' << kind << "('" << newGuid() << "',#5,'Element " << s << '-' << e
                << "','Generated element',$,#" << lp << ",#" << pds << ",'T" << e << "',";
            if (std::string(kind) == "IFCDOOR")
                out << "2100.,900.,.DOOR.,$,$);\n";
            else if (std::string(kind) == "IFCSLAB")
                out << ".FLOOR.);\n";
            else
                out << ".SOLIDWALL.);\n";
            const long long p1 = id++, p2 = id++, p3 = id++, p4 = id++, pset = id++, rel = id++;
            out << '#' << p1 << "=IFCPROPERTYSINGLEVALUE('IsExternal',$,IFCBOOLEAN("
                << (e % 2 ? ".T." : ".F.") << "),$);\n"
                << '#' << p2 << "=IFCPROPERTYSINGLEVALUE('FireRating',$,IFCLABEL('F" << 30 * (e % 4)
                << "'),$);\n"
                << '#' << p3 << "=IFCPROPERTYSINGLEVALUE('LoadBearing',$,IFCBOOLEAN(.T.),$);\n"
                << '#' << p4
                << "=IFCPROPERTYSINGLEVALUE('ThermalTransmittance',$,IFCTHERMALTRANSMITTANCEMEASURE(0."
                << 20 + e % 30 << "),$);\n"
                << '#' << pset << "=IFCPROPERTYSET('" << newGuid() << "',#5,'Pset_Common',$,(#" << p1 << ",#"
                << p2 << ",#" << p3 << ",#" << p4 << "));\n"
                << '#' << rel << "=IFCRELDEFINESBYPROPERTIES('" << newGuid() << "',#5,$,$,(#" << element
                << "),#" << pset << ");\n";
            const long long q1 = id++, q2 = id++, quantities = id++, qrel = id++;
            out << '#' << q1 << "=IFCQUANTITYLENGTH('Length',$,$," << 400 + e % 7 * 100 << ".,$);\n"
                << '#' << q2 << "=IFCQUANTITYVOLUME('NetVolume',$,$,0." << 100 + e % 900 << ",$);\n"
                << '#' << quantities << "=IFCELEMENTQUANTITY('" << newGuid()
                << "',#5,'Qto_BaseQuantities',$,$,(#" << q1 << ",#" << q2 << "));\n"
                << '#' << qrel << "=IFCRELDEFINESBYPROPERTIES('" << newGuid() << "',#5,$,$,(#" << element
                << "),#" << quantities << ");\n";
            elements.push_back(element);
        }
        const auto list = [&elements] {
            std::string text;
            for (const long long e : elements)
                text.append(text.empty() ? "#" : ",#").append(std::to_string(e));
            return text;
        };
        const long long contained = id++, material = id++, typed = id++;
        const std::string members = list();
        out << '#' << contained << "=IFCRELCONTAINEDINSPATIALSTRUCTURE('" << newGuid() << "',#5,$,$,("
            << members << "),#" << storey << ");\n";
        out << '#' << material << "=IFCRELASSOCIATESMATERIAL('" << newGuid() << "',#5,$,$,(" << members
            << "),#50);\n";
        out << '#' << typed << "=IFCRELDEFINESBYTYPE('" << newGuid() << "',#5,$,$,(" << members
            << "),#51);\n";
    }
    std::string all;
    for (const long long s : storeyIds)
        all.append(all.empty() ? "#" : ",#").append(std::to_string(s));
    out << '#' << id++ << "=IFCRELAGGREGATES('" << newGuid() << "',#5,$,$,#42,(" << all << "));\n"
        << "ENDSEC;\nEND-ISO-10303-21;\n";
}

void benchModel(const char *name, const std::string &path, const std::string &exporter, const QDir &out,
                int runs)
{
    print("model", QString::fromLatin1(name));
    print("file_mib",
          static_cast<double>(QFileInfo(QString::fromStdString(path)).size()) / (1024.0 * 1024.0));
    const std::string xlsx = out.filePath(QStringLiteral("t.xlsx")).toStdString();
    const std::string dae = out.filePath(QStringLiteral("g.dae")).toStdString();
    const std::string assimpDae = out.filePath(QStringLiteral("assimp.dae")).toStdString();

    std::vector<Measure> load, table, geometry, assimp;
    for (int i = 0; i < runs; ++i) {
        load.push_back(loadOnly(path));
        table.push_back(
            runProgram({exporter, path, "--output-xlsx=" + xlsx, "--skip-dae", "--force-path", "--ui"}));
    }
    const Measure l = medianOf(load), t = medianOf(table);
    print("load_s", l.seconds);
    print("load_peak_mib", l.peakMiB);
    print("xlsx_csv_s", t.seconds);
    print("xlsx_csv_peak_mib", t.peakMiB);
    if (l.exitCode != 0 || t.exitCode != 0) {
        print("error", QStringLiteral("load exit %1, export exit %2").arg(l.exitCode).arg(t.exitCode));
        return;
    }
    print("xlsx_csv_to_load_time_ratio", t.seconds / l.seconds);
    print("xlsx_csv_minus_load_peak_mib", t.peakMiB - l.peakMiB);

    for (int i = 0; i < runs; ++i) {
        geometry.push_back(runProgram({exporter, path, "--output-xlsx=" + xlsx, "--output-dae=" + dae,
                                       "--skip-xlsx", "--force-path", "--ui"}));
        if (QFile::exists(QStringLiteral("/usr/bin/assimp")))
            assimp.push_back(runProgram({"/usr/bin/assimp", "export", path, assimpDae}));
    }
    const Measure g = medianOf(geometry);
    print("dae_s", g.seconds);
    print("dae_peak_mib", g.peakMiB);
    if (assimp.empty()) {
        print("assimp_dae", QStringLiteral("skipped: /usr/bin/assimp not installed (assimp-utils)"));
        return;
    }
    const Measure a = medianOf(assimp);
    print("assimp_dae_s", a.seconds);
    print("assimp_dae_peak_mib", a.peakMiB);
    if (g.exitCode == 0 && a.exitCode == 0)
        print("dae_to_assimp_time_ratio", g.seconds / a.seconds);
    else
        print("error", QStringLiteral("dae exit %1, assimp exit %2").arg(g.exitCode).arg(a.exitCode));
}

// About 1.2 KB of STEP text per generated element, in storeys of 500 elements.
constexpr int perStorey = 500;
int storeysFor(double mib)
{
    return std::max(1, static_cast<int>(mib * 1024 * 1024 / 1220 / perStorey));
}

} // namespace

int main(int argc, char *argv[])
{
    // --generate FILE MB writes the generated model and stops, to look at it or time it by hand.
    if (argc == 4 && std::string(argv[1]) == "--generate") {
        generateModel(argv[2], storeysFor(std::atof(argv[3])), perStorey);
        return 0;
    }
    const double targetMiB = argc > 1 ? std::atof(argv[1]) : 100.0;
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
    const std::string exporter = KVT_IFC_EXPORTER;
    QTemporaryDir out;

    const std::string house = "/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc";
    if (QFile::exists(QString::fromStdString(house)))
        benchModel("house", house, exporter, QDir(out.path()), runs);
    else
        print("house", QStringLiteral("skipped: assimp-testmodels is not installed"));

    const int storeys = storeysFor(targetMiB);
    const std::string generated = out.filePath(QStringLiteral("generated.ifc")).toStdString();
    generateModel(generated, storeys, perStorey);
    print("generated_elements", static_cast<double>(storeys) * perStorey);
    benchModel("generated", generated, exporter, QDir(out.path()), runs);
    return 0;
}
