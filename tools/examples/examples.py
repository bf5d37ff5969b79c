"""What each example is made from, and what is changed on the way. No example invents a position: an atom that the
entry lacks is lacking in the file."""
import re

from symmetry import apply

COD = 'Crystallography Open Database (public domain) '
AVOGADRO = 'from the Debian package libavogadro-data 1.97.0-3 (crystals/%s).'
OPENBABEL = 'from the Debian source package openbabel 3.1.1+dfsg-9 (test/files/%s).'
GEMMI = 'from the Debian source package gemmi 0.5.7+ds-2 (tests/%s).'
NO_SU = 'The entry gives no s.u.: ZERR holds one unit in the last digit given.'
NO_WAVE = 'The entry gives no wavelength: CELL holds Mo K-alpha.'
CODED = ('What the site symmetry fixes is coded: 10 + value for a fixed number, 10 m + c for c times free variable m '
         '(equal or proportional U), occupancy factors 10 + 1/order.')
MO = 0.71073


def named(structure, label):
    return next(a for a in structure.atoms if a['label'] == label)


def oligomer(s):
    """The molecule lies on the mirror plane x = 1: moved to x = 0. Hydrogens ride, each behind its carbon."""
    hydrogens = [a for a in s.atoms if a['element'] == 'H']
    s.atoms = [a for a in s.atoms if a['element'] != 'H']
    for a in s.atoms + hydrogens:
        a['xyz'][0] -= 1.0
    for h in hydrogens:
        carbons = [a for a in s.atoms if a['element'] == 'C']
        carrier = min(carbons, key=lambda c: s.cell.length([p - q for p, q in zip(c['xyz'], h['xyz'])]))
        h.update(afix='43 0.95', riding_u=-1.2, uiso=1.2 * sum(carrier['u'][:3]) / 3)
        s.atoms.insert(s.atoms.index(carrier) + 1, h)


def azathioprine(s):
    for a in s.atoms:
        a['fixed_u'] = a['element'] == 'H'


def whewellite(s):
    names = dict(OW1='O1W', OW2='O2W', OW10='O10W', OW20='O20W')
    groups = {'O1W': (2, 1), 'H11': (2, 1), 'O2W': (3, 1), 'H21': (3, 1), 'H22': (3, 1), 'O10W': (2, -1), 'O20W': (3, -1)}
    for a in s.atoms:
        a['label'] = names.get(a['label'], a['label'])
        if a['label'] in groups:
            m, sign = a['fv'] = groups[a['label']]
            a['part'] = 1 if sign > 0 else 2
        a['fixed_u'] = a['element'] == 'H'
    order = list(groups)
    s.atoms.sort(key=lambda a: order.index(a['label']) if a['label'] in groups else -1)
    for label in ('O1W', 'O2W'):
        s.variable(named(s, label)['occupancy'])


def weddellite(s):
    """Water oxygens named as oxygen; H2 goes to the image that is bonded to O2W."""
    names = dict(OW1='O1W', OW2='O2W', WaT3='O3W', WaT30='O30W')
    for a in s.atoms:
        a['label'] = names.get(a['label'], a['label'])
        if a['label'] in ('O3W', 'O30W'):
            a.update(element='O', part=1 if a['label'] == 'O3W' else 2, fv=(s.variable(a['occupancy']), 1))
        a['fixed_u'] = a['element'] == 'H'
    h, o = named(s, 'H2'), named(s, 'O2W')
    images = [apply(op, h['xyz']) for op in s.ops]
    images = [[q + (p - q - round(p - q)) for p, q in zip(y, o['xyz'])] for y in images]
    h['xyz'] = min(images, key=lambda y: s.cell.length([p - q for p, q in zip(y, o['xyz'])]))
    order = ['Ca', 'C', 'O1', 'O2', 'O1W', 'H1', 'O2W', 'H2', 'O3W', 'O30W']
    s.atoms.sort(key=lambda a: order.index(a['label']))


def mutinaite(s):
    s.atoms = [a for a in s.atoms if a['element'] in ('Si', 'O')]
    for a in s.atoms:
        a['occupancy'] = 1.0


def embedded(s):
    """The entry holds the authors' last parameters with all digits, and their intensities, as text."""
    parameters = next(v for v in s.entry.values.values() if '\nFVAR' in v)
    for label, words in re.findall(r'^(\w+) +\d +(.*)$', parameters.split('\nFVAR')[1].split('\nHKLF')[0], re.M):
        a, v = named(s, label.capitalize()), [float(w) for w in words.split()]
        a['xyz'], a['uiso'] = [w - 10 if w >= 5 else w for w in v[:3]], v[4]


def embedded_reflections(s):
    rows = next(v for v in s.entry.values.values() if re.match(r'\n(   \d|  -\d){3}', v)).splitlines()
    out = []
    for row in filter(None, rows):
        hkl = tuple(int(row[i:i + 4]) for i in (0, 4, 8))
        if not any(hkl):
            break
        out.append((hkl, float(row[12:20]), float(row[20:28])))
    return out


EXAMPLES = {
    'oligomer': dict(
        entry='test01.cif', title='trifluoroacetyl-terminated oligomer C24 H12 F6 O2 S2 in Cmca', change=oligomer,
        source=['Y. Ie, M. Nitani, T. Uemura, Y. Tominari, J. Takeya, Y. Honsho, A. Saeki, S. Seki, Y. Aso, '
                'J. Phys. Chem. C 113 (2009) 17189.', COD + '1516419, ' + OPENBABEL % 'test01.cif'],
        notes=['Coordinates and U as published, moved by -1 along x. The paper placed the hydrogens (C-H 0.95 A) with U '
               'of about 1.2 times that of their carbon: they ride here with AFIX 43 and -1.2. Atoms on the mirror plane '
               'carry coded values.'],
        latt=7, z=4, formula=dict(C=24, H=12, F=6, O=2, S=2), sfac='C H F O S', wavelength=0.71075, temp=19.95,
        wght='0.0 0.0', simulate=dict(resolution=0.77, seed=1516419)),
    'azathiop': dict(
        entry='1519159.cif', title='azathioprine C9 H7 N7 O2 S in P2(1)/c', change=azathioprine,
        source=['K. R. Acharya, Proc. Indian Acad. Sci. (Chem. Sci.) 93 (1984) 183-187.',
                COD + '1519159, ' + OPENBABEL % '1519159.cif'],
        notes=['Published equivalent and isotropic B, converted with U of B / (8 pi^2); hydrogen positions as published, '
               'their U fixed. The paper prints a volume of 1149.5 A^3, the cell gives 1109.8 A^3. ' + NO_WAVE],
        latt=1, z=4, formula=dict(C=9, H=7, N=7, O=2, S=1), sfac='C H N O S', wavelength=MO,
        wght='0.0 0.0', simulate=dict(resolution=0.84, seed=1519159),
        start=dict(name='azastart', peaks=14, known='S1 N2 C3 N4 C5 C6 C7 N8 C9 N10'.split(),
                   spec=dict(title='azathioprine C9 H7 N7 O2 S in P2(1)/c, to be finished', wght='0.1'),
                   notes=['An unfinished structure: the sulphur atom and the purine ring are named, the other atoms are '
                          'peaks. The finished one is azathiop.res. Published B converted to U. ' + NO_WAVE])),
    'whewell': dict(
        entry='Ca2C4O10H2.57-Oxalate-Whewellite.cif', change=whewellite,
        title='whewellite Ca C2 O4 . H2 O in P2(1)/c, disordered water',
        source=['V. Tazzoli, M. C. Domeneghetti, Am. Mineral. 65 (1980) 327-334.',
                COD + '9000763, AMCSD 0000775, ' + AVOGADRO % 'other'],
        notes=['Water OW1, OW2 of the paper is O1W, O2W here, its minor site OW10, OW20 is O10W, O20W. Free variables 2 '
               'and 3 are the major occupancies 0.85 and 0.86. The paper has three of the four hydrogens. ' + NO_WAVE, NO_SU],
        latt=1, z=4, formula=dict(C=4, H=2.57, Ca=2, O=10), sfac='C H Ca O', wavelength=MO,
        wght='0.0 0.0', simulate=dict(resolution=0.84, seed=9000763)),
    'weddell': dict(
        entry='CaC2O6.375H6-Oxalate-Weddellite.cif', change=weddellite,
        title='weddellite Ca C2 O4 . 2.375 H2 O in I4/m', source=[
            'V. Tazzoli, M. C. Domeneghetti, Am. Mineral. 65 (1980) 327-334.',
            COD + '9000764, AMCSD 0000776, ' + AVOGADRO % 'other'],
        notes=['Water OW1, OW2, Wat3, Wat30 of the paper is O1W, O2W, O3W, O30W here; H2 is moved by symmetry to O2W. '
               'The hydrogens of O3W are not in the paper, nor in UNIT. Free variables: the occupancies of O3W and '
               'O30W, then U11 of O3W and O30W. ' + CODED + ' ' + NO_WAVE, NO_SU],
        latt=2, z=8, formula=dict(C=2, H=4, Ca=1, O=6.375), sfac='C H Ca O', wavelength=MO),
    'anhydrit': dict(
        entry='CaSO4-Anhydrite.cif', title='anhydrite Ca S O4 in Amma',
        source=['F. C. Hawthorne, R. B. Ferguson, Can. Mineral. 13 (1975) 289-292.',
                COD + '9004096, AMCSD 0005077, ' + AVOGADRO % 'sulfates'],
        notes=[CODED + ' ' + NO_WAVE, NO_SU],
        latt=5, z=4, formula=dict(Ca=1, S=1, O=4), sfac='Ca S O', wavelength=MO),
    'sulphur': dict(
        entry='S8-Sulfur-alpha.cif', title='alpha sulphur S8 in Fddd, origin at the centre',
        source=['S. J. Rettig, J. Trotter, Acta Cryst. C43 (1987) 2260-2262.',
                COD + '9011362, AMCSD 0009802, ' + AVOGADRO % 'elements'],
        notes=['Half a ring in the file; the twofold axis makes the other half. ' + NO_WAVE, NO_SU],
        latt=4, z=16, formula=dict(S=8), sfac='S', wavelength=MO, temp=25),
    'dolomite': dict(
        entry='CaMgC2O6-Dolomite.cif', title='dolomite Ca Mg (C O3)2 in R-3, obverse hexagonal axes',
        source=['R. J. Reeder, S. A. Markgraf, Am. Mineral. 71 (1986) 795-804.',
                COD + '9001004, AMCSD 0001025, ' + AVOGADRO % 'carbonates'],
        notes=[CODED + ' ' + NO_WAVE, NO_SU],
        latt=3, z=3, formula=dict(C=2, O=6, Mg=1, Ca=1), sfac='C O Mg Ca', wavelength=MO, temp=24),
    'zircon': dict(
        entry='test07.cif', title='zircon Zr Si O4 in I4(1)/amd, origin at the centre',
        source=['R. M. Hazen, L. W. Finger, Am. Mineral. 64 (1979) 196-201 (crystal 1, 1 atm).',
                COD + '9000684, ' + OPENBABEL % 'test07.cif'],
        notes=[CODED + ' ' + NO_WAVE, NO_SU],
        latt=2, z=4, formula=dict(O=4, Si=1, Zr=1), sfac='O Si Zr', wavelength=MO),
    'mutinait': dict(
        entry='ZSM-5.cif', title='mutinaite, the whole framework of a cell (Si O2)96 in P1', change=mutinaite,
        source=['G. Vezzalini, S. Quartieri, E. Galli, A. Alberti, G. Cruciani, A. Kvick, Zeolites 19 (1997) 323-325.',
                COD + '9012419, AMCSD 0013149, ' + AVOGADRO % 'zeolites'],
        notes=['Framework only: the water, Ca and Na of the channels are left out and every (Si,Al) site is Si. The 38 '
               'sites of Pnma are expanded to the 288 atoms of the cell: coordinates between 0 and 1, U as published.',
               'For a view of many atoms, not for refinement. ' + NO_WAVE, NO_SU],
        whole_cell=True, latt=-1, z=96, formula=dict(Si=1, O=2), sfac='Si O', wavelength=MO),
    'fen4': dict(
        entry='2242624.cif', title='iron tetranitride Fe N4 at 180 GPa in P-1', change=embedded,
        source=['M. Bykov, S. Khandarkhaeva, T. Fedotenko, P. Sedmak, N. Dubrovinskaia, L. Dubrovinsky, '
                'Acta Cryst. E74 (2018) 1392-1395.', COD + '2242624, ' + GEMMI % '2242624.cif'],
        notes=['Measured data: fen4.hkl holds the intensities that the authors deposited, synchrotron, 117 reflections. '
               'Parameters, weights, scale and dispersion as deposited. Published: R1 0.0403 for 70 with Fo above '
               '4 sigma(Fo), wR2 0.0815 and goodness of fit 1.183 for all 71, 10 parameters.'],
        cell=[2.4473, 3.4688, 3.5144, 105.224, 110.601, 91.389], latt=1, z=1, formula=dict(Fe=1, N=4), sfac='Fe N',
        disp=['DISP Fe 0.1197 0.1747 334.09', 'DISP N -0.001 0.0005 5.44'], wavelength=0.30996, temp=19.85,
        osf=7.74906, wght='0.0282 0.3122', measured=embedded_reflections),
}
