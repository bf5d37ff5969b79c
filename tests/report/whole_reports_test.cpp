#include <gtest/gtest.h>

#include "base/user_messages.h"
#include "chem/bonds/connectivity.h"
#include "chem/bonds/hybridization.h"
#include "files/res/reader.h"
#include "report/report.h"

namespace marvik {
namespace {

// Three atoms along the edges of a cubic cell, 1.5 and 1.4 Å apart, a hydrogen atom 0.8 Å above the third and 2.0 Å
// from a nitrogen atom beside it, so that every value can be told by Pythagoras; half a water near by through the
// centre of symmetry. An uncertainty of 0.001 Å in every direction makes 0.0014 Å of a distance.
struct WholeReports : testing::Test {
  void Read(const std::string& lattice, const std::string& atoms) {
    ASSERT_TRUE(ReadInstructionText(document,
                                    "TITL caf\xe9\nREM R1 =  0.0364 for 900 Fo > 4sig(Fo)\n"
                                    "REM wR2 =  0.0911, GooF = S =  1.052\nCELL 0.71073 10 10 10 90 90 90\n" +
                                        lattice + "\nSFAC C H N O F CL BR\nUNIT 4 4 2 4 1 1 1\nFVAR 1 0.25\n" + atoms +
                                        "HKLF 4\nEND\n",
                                    messages));
    document.CurrentFile = "/somewhere/w.res";
    Connect(document, messages);
    HybridizeAll(document, messages);
  }
  void ReadDimer() {
    Read("LATT 1",
         "C1 1 0.1 0.1 0.1 11 0.03\nC2 1 0.25 0.1 0.1 11 0.02 0.03 0.04 0.001 0.002 0.003\nPART 2 21\n"
         "O1 4 0.25 0.24 0.1 21 0.03\nPART 0\nH1 2 0.25 0.24 0.18 11 -1.5\nN1 3 0.25 0.36 0.34 11 0.04\n"
         "O2 4 0.9 0.66 0.08 10.5 0.05\n");
    source.emplace(document, std::array<double, 6>{}, "Of the test.");
    for (const char* name : {"C1", "C2", "O1", "N1"})
      source->Add(*document.atoms.FindAtom(name),
                  {{1e-4, 1e-4, 1e-4}, {0.001, 0.002, 0.003, 0.0001, 0.0002, 0.0003}, 0.01});
    request.radius = 3.1;
  }
  uint32_t Serial(const char* name) const { return document.atoms.FindAtom(name)->serial; }
  Report Made(ReportKind kind) {
    request.kind = kind;
    return *ComposeReport(document, request, source ? &*source : nullptr);
  }
  std::string Text(ReportKind kind) { return FormatReport(document, Made(kind), ReportFormat::Text); }
  // What a reader sees, with line feeds.
  std::string Shown(ReportKind kind) { return PlainLines(Made(kind).text); }

  Document document;
  RecordingMessages messages;
  ReportRequest request;
  std::optional<ListedUncertainties> source;
};

TEST_F(WholeReports, OfTheStructure) {
  ReadDimer();
  EXPECT_EQ(
      Text(ReportKind::Atoms),
      R"(name	element	x	y	z	occupancy	ueq	part	residue	u11	u22	u33	u23	u13	u12	u11_su	u22_su	u33_su	u23_su	u13_su	u12_su
C1	C	0.10000(10)	0.10000(10)	0.10000(10)	1.000(10)	0.0300(10)	0	0	0.03000	-	-	-	-	-	0.001000	-	-	-	-	-
C2	C	0.25000(10)	0.10000(10)	0.10000(10)	1.000(10)	0.03000	0	0	0.02000	0.03000	0.04000	0.00100	0.00200	0.00300	0.001000	0.002000	0.003000	0.000100	0.000200	0.000300
O1	O	0.25000(10)	0.24000(10)	0.10000(10)	0.250(10)	0.0300(10)	2	0	0.03000	-	-	-	-	-	0.001000	-	-	-	-	-
H1	H	0.250000	0.240000	0.180000	1.00000	0.04500	0	0	0.04500	-	-	-	-	-	-	-	-	-	-	-
N1	N	0.25000(10)	0.36000(10)	0.34000(10)	1.000(10)	0.0400(10)	0	0	0.04000	-	-	-	-	-	0.001000	-	-	-	-	-
O2	O	0.900000	0.660000	0.080000	0.50000	0.05000	0	0	0.05000	-	-	-	-	-	-	-	-	-	-	-
# Of the test.
)");
  EXPECT_EQ(Shown(ReportKind::Bonds), R"(Bonds


atom1  atom2  value       order
C1     C2     1.5000(14)  Single
C2     O1     1.4000(14)  Single
O1     H1     0.8000      Single

Of the test.
)");
  // 0.0014 Å across 1.5 and 1.4 Å: 0.079°.
  EXPECT_EQ(Text(ReportKind::Angles), R"(atom1	atom2	atom3	symmetry1	symmetry2	symmetry3	value
C1	C2	O1				90.00(8)
C2	O1	H1				90.00
# Of the test.
)");
  EXPECT_EQ(Text(ReportKind::Torsions),
            R"(atom1	atom2	atom3	atom4	symmetry1	symmetry2	symmetry3	symmetry4	value
C1	C2	O1	H1					90.0
# Of the test.
)");
  EXPECT_EQ(FormatReport(document, Made(ReportKind::HydrogenBonds), ReportFormat::Json), R"({
  "file": "w.res",
  "title": "café",
  "cell": {"a":10.0,"b":10.0,"c":10.0,"alpha":90.0,"beta":90.0,"gamma":90.0},
  "r1": 0.0364,
  "wr2": 0.0911,
  "goof": 1.052,
  "basis": "Of the test.",
  "hydrogen-bonds": [
    {"atoms":["O1","H1","N1"],"symmetry":["","",""],"value":2.68328,"su":0.00141,"donor_hydrogen":0.8,"donor_hydrogen_su":null,"hydrogen_acceptor":2.0,"hydrogen_acceptor_su":null,"angle":143.13,"angle_su":null}
  ]
}
)");
  EXPECT_EQ(Text(ReportKind::Contacts), R"(atom1	atom2	symmetry1	symmetry2	value	contact	radii
C1	O2		2_665	3.000	short contact	3.22
O1	O2		2_665	2.548	short contact	3.04
# Of the test.
)");
  request.radius = 2.1;
  EXPECT_EQ(Text(ReportKind::Environments), R"(atom1	atom2	symmetry1	symmetry2	value	contact	radii
C1	C2			1.5000(14)	bond	3.40
C1	O1			2.0518(14)		3.22
C2	O1			1.4000(14)	bond	3.22
C2	C1			1.5000(14)	bond	3.40
C2	H1			1.612		2.90
O1	H1			0.800	bond	2.72
O1	C2			1.4000(14)	bond	3.22
O1	C1			2.0518(14)		3.22
H1	O1			0.800	bond	2.72
H1	C2			1.612		2.90
H1	N1			2.000	hydrogen bond	2.75
N1	H1			2.000	hydrogen bond	2.75
# Of the test.
)");
  EXPECT_TRUE(Text(ReportKind::Hybrid)
                  .starts_with("name\telement\thybridization\thydrogens\tcharge\n"
                               "C1\tC\tsp3\t3\t0\nC2\tC\tsp3\t2\t0\n"));
  // Of the selected atoms alone, without a file that tells of uncertainties.
  document.atoms.selection.Append(document.atoms.FindAtom("O2"));
  source.reset();
  request.radius = 2.6;
  EXPECT_EQ(Shown(ReportKind::Contacts), R"(Contacts


atom1  atom2  symmetry2  value  contact        radii
O2     O1     2_665      2.548  short contact  3.04

No s.u.: no file beside this one tells how certain its coordinates are.
)");
  EXPECT_TRUE(Shown(ReportKind::HydrogenBonds).starts_with("Hydrogen Bonds\n\nThere are none.\n\nNo s.u.:"));
}

TEST_F(WholeReports, OfOneAtom) {
  ReadDimer();
  request.atom = Serial("C2");
  EXPECT_EQ(Shown(ReportKind::BondsAndAngles), R"(Bonds and Angles for C2
  C1	1.500
  O1	1.400	 90.00
	   C2	    C1

Distances (Å)
atom1  atom2  value
C2     C1     1.5000(14)
C2     O1     1.4000(14)

Angles (°)
atom1  atom2  atom3  value
C1     C2     O1     90.00(8)

Torsions (°)
atom1  atom2  atom3  atom4  value
C1     C2     O1     H1     90.0

Of the test.
)");
  request.atom = Serial("O1");
  EXPECT_EQ(Shown(ReportKind::Environment), R"(Environment of O1 within 3.10 Å
Label	code	distance
  H1	1555	0.800    	bond
  C2	1555	1.4000(14)	bond
  C1	1555	2.0518(14)	
  O2	2665	2.548    	short contact
  N1	1555	2.6833(14)	hydrogen bond

Hydrogen bonds
atom1  atom2  atom3  value       donor_hydrogen  hydrogen_acceptor  angle
O1     H1     N1     2.6833(14)  0.80            2.00               143

Of the test.
)");
  EXPECT_EQ(TablesText(Made(ReportKind::Environment), ','), R"(Environment
label,code,distance,su,contact
H1,1555,0.80000,,bond
C2,1555,1.40000,0.00141,bond
C1,1555,2.05183,0.00141,
O2,2665,2.54755,,short contact
N1,1555,2.68328,0.00141,hydrogen bond

Hydrogen bonds
atom1,atom2,atom3,symmetry1,symmetry2,symmetry3,value,su,donor_hydrogen,donor_hydrogen_su,hydrogen_acceptor,hydrogen_acceptor_su,angle,angle_su
O1,H1,N1,,,,2.68328,0.00141,0.8000,,2.0000,,143.13,
)");
}

TEST_F(WholeReports, OfPlanesAndTheirCentroid) {
  ReadDimer();
  for (const char* name : {"C1", "C2", "O1"}) request.members.push_back(Serial(name));
  request.previousPlane = Cartesian{1, 0, 0};
  EXPECT_EQ(FormatReport(document, Made(ReportKind::Planes), ReportFormat::Csv), R"(Equation
nx,ny,nz,D,a,b,c,rms deviation,angle to previous plane
0.0000,0.0000,1.0000,-1.0000,0.0000,0.0000,-10.0000,0.0000,90.00

Deviations
name,member,deviation,weight
C1,1,0.0000,1.00
C2,1,0.0000,1.00
O1,1,0.0000,1.00
H1,0,-0.8000,0.00
N1,0,-2.4000,0.00
O2,0,0.2000,0.00

Equation
nx,ny,nz,D,a,b,c,rms deviation,angle to previous plane
0.0000,0.0000,1.0000,-1.0000,0.0000,0.0000,-10.0000,0.0000,90.00

Deviations
name,member,deviation,weight
C1,1,0.0000,6.00
C2,1,0.0000,6.00
O1,1,0.0000,8.00
H1,0,-0.8000,0.00
N1,0,-2.4000,0.00
O2,0,0.2000,0.00
)");
  const std::string text = Text(ReportKind::Planes);
  EXPECT_TRUE(
      text.ends_with("\nRoot mean square deviation of the 3 atoms of the plane: 0.0000 Å\n"
                     "Angle to the plane before: 90.00°\n"));
  EXPECT_EQ(text.find("many planes"), text.npos);
  EXPECT_EQ(Made(ReportKind::Planes).rows.Json(0), R"([
{"atoms":["C1","C2","O1"],"symmetry":["","",""],"value":0.0,"su":null,"weighted":0,"normal":[0.0,0.0,1.0],"distance":-1.0,"coefficients":[0.0,0.0,-10.0],"deviations":[0.0,0.0,0.0]},
{"atoms":["C1","C2","O1"],"symmetry":["","",""],"value":0.0,"su":null,"weighted":1,"normal":[0.0,0.0,1.0],"distance":-1.0,"coefficients":[0.0,0.0,-10.0],"deviations":[0.0,0.0,0.0]}
])");
  EXPECT_EQ(Made(ReportKind::Centroid).rows.Json(0), R"([
{"atoms":["C1","C2","O1"],"symmetry":["","",""],"value":[0.2,0.146667,0.1],"su":null}
])");
  EXPECT_EQ(Text(ReportKind::Centroid), "   0.200    0.147    0.100\n");
  EXPECT_EQ(FormatReport(document, Made(ReportKind::Centroid), ReportFormat::Csv),
            "x,y,z\n0.200000,0.146667,0.100000\n");
  request.members.pop_back();
  EXPECT_NE(Text(ReportKind::MeanPlane).find("many planes hold them"), text.npos);
}

// Seen with the hydrogen atom behind, bromine, chlorine and fluorine go round clockwise.
TEST_F(WholeReports, OfHandsAndAtoms) {
  const std::string atoms =
      "C1 1 0.3 0.3 0.3 11 0.03\nBR1 7 0.411 0.189 0.189 11 0.03\nCL1 6 0.2 0.4 0.2 11 0.03\n"
      "F1 5 0.22 0.22 0.38 11 0.03\nH1 2 0.36 0.36 0.36 11 0.05\nQ1 1 0.9 0.9 0.9 11 0.05 1.5\n"
      "C9 1 0.7 0.7 0.7 11 0.01 0.02 -0.03 0 0 0\n";
  Read("LATT -1", atoms);
  EXPECT_EQ(Shown(ReportKind::Chirality),
            "Chirality\n\n\natom1  value  label  part  ranked\nC1     -      R      0     BR1 > CL1 > F1 > H1\n");
  EXPECT_EQ(Made(ReportKind::AtomInformation).text.substr(0, 10), "LABEL  PEA");
  EXPECT_TRUE(Shown(ReportKind::AtomInformation).ends_with("\nDisplacement tensors not positive definite: C9\n"));
  request.members = {Serial("C9"), Serial("Q1")};
  EXPECT_EQ(TablesText(Made(ReportKind::AtomInformation), ','),
            "label,peak height,type,x,y,z,hybrid,charge,Ueq\nQ1,1.50,Q,0.90000,0.90000,0.90000,sp3,0,0.05000\n"
            "C9,,C,0.70000,0.70000,0.70000,sp3,0,0.00000\n");
  request.members = {999};
  EXPECT_FALSE(ComposeReport(document, request, nullptr));
  ASSERT_EQ(document.symmetry.size(), 1u);
  Document centric;
  std::swap(document, centric);
  Read("LATT 1", atoms);
  EXPECT_TRUE(Shown(ReportKind::Chirality).ends_with("\nSymmetry makes the other hand as well.\n"));
}

TEST(FigureOfMerit, IsTheLastThatTheRemarksTell) {
  Document document;
  document.instructions.droppedRemarks = {"REM R1 = 0.5 for all", "REM R1 =  0.0364 for", "REM xR1 = 0.7", "REM wR2 =",
                                          "REM GooF = S = 1.1",   "REM GooF = none"};
  EXPECT_EQ(FigureOfMerit(document, "R1 ="), 0.0364);
  EXPECT_EQ(FigureOfMerit(document, "wR2 ="), std::nullopt);
  EXPECT_EQ(FigureOfMerit(document, "GooF ="), 1.1);
}

}  // namespace
}  // namespace marvik
