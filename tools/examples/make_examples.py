#!/usr/bin/env python3
"""Writes the example structures from public-domain database entries.

Usage: make_examples.py DATA OUT [NAME ...]
DATA is a folder that holds, at any depth, the files of the Debian packages named in the remarks
(libavogadro-data; the sources of openbabel and gemmi); OUT is the folder for the .res and .hkl files.
The gemmi Python module must be importable where reflections are simulated (python3-gemmi).
"""
import math
import pathlib
import sys
import textwrap

from cif_entry import Entry
from examples import EXAMPLES
from symmetry import Cell, Site, apply, lattice, parse, text, IDENTITY


def remarks(lines):
    out = []
    for line in lines:
        out += ['REM ' + part for part in textwrap.wrap(line, 74)]
    return out


class Structure:
    """One example on its way from the entry to the file."""

    def __init__(self, spec, data):
        self.spec = spec
        paths = sorted(data.rglob(spec['entry']))
        if not paths:
            sys.exit('no file %s below %s' % (spec['entry'], data))
        path = paths[0]
        self.entry = Entry(path)
        self.cell_su = self.entry.cell()
        if 'cell' in spec:
            self.cell_su = [(v, su[1]) for v, su in zip(spec['cell'], self.cell_su)]
        self.cell = Cell(*(v for v, _ in self.cell_su))
        self.ops = sorted(set(parse(t) for t in self.entry.operators()), key=lambda op: op[0] != IDENTITY)
        self.atoms = self.entry.atoms()
        for a in self.atoms:
            tail = a['label'][len(a['element']):].upper()
            a['label'] = a['element'] + tail.replace('(', '').replace(')', '')
        self.fvar = [spec.get('osf', 1.0)]
        if 'change' in spec:
            spec['change'](self)
        self.latt, self.symm = lattice(self.ops)
        for a in self.atoms:
            a['site'] = Site(self.ops, a['xyz'], self.cell)
            a['xyz'] = a['site'].xyz
        if spec.get('whole_cell'):
            self.expand()

    def expand(self):
        """All atoms of the cell in P1, numbered through in the order of the entry."""
        out, count = [], {}
        for a in self.atoms:
            seen = []
            for op in self.ops:
                y = [v - math.floor(v) for v in apply(op, a['xyz'])]
                if all(self.cell.length([p - q - round(p - q) for p, q in zip(y, s)]) > 0.1 for s in seen):
                    seen.append(y)
                    count[a['element']] = count.get(a['element'], 0) + 1
                    out.append(dict(a, xyz=y, label='%s%d' % (a['element'], count[a['element']])))
        self.ops = [parse('x,y,z')]
        self.latt, self.symm = -1, []
        for a in out:
            a['site'] = Site(self.ops, a['xyz'], self.cell)
        self.atoms = out

    def sof(self, a):
        return a['occupancy'] / a['site'].order

    def variable(self, value):
        self.fvar.append(value)
        return len(self.fvar)

    def atom_line(self, a):
        """A coordinate or U that the site fixes is coded 10 + value; tied U's share a free variable."""
        values = []
        for v, free in zip(a['xyz'], a['site'].free):
            values.append('%10.6f' % (v if free else 10 + v))
        if 'fv' in a:  # (variable, sign): the occupancy is that variable or one minus it
            m, sign = a['fv']
            values.append('%10.5f' % (sign * (10 * m + 1.0 / a['site'].order)))
        else:
            values.append('%10.5f' % (10 + self.sof(a)))
        if a['u']:
            ties = a['site'].ties
            shared = {}
            for m, tie in enumerate(ties):
                if tie and tie[0] is not None and tie[0] not in shared:
                    shared[tie[0]] = self.variable(a['u'][tie[0]])
            u = []
            for m, tie in enumerate(ties):
                if tie and tie[0] is None:
                    u.append('%10.5f' % 10)
                elif tie:
                    u.append('%10.5f' % (10 * shared[tie[0]] + tie[1]))
                else:
                    u.append('%10.5f' % (10 * shared[m] + 1 if m in shared else a['u'][m]))
        else:
            u = ['%10.5f' % (10 + a['uiso'] if a.get('fixed_u') else a.get('riding_u', a['uiso']))]
        head = '%-4s %2d ' % (a['label'], 1 + self.spec['sfac'].split().index(a['element']))
        if len(u) == 1:
            return [head + ''.join(values + u)]
        return [head + ''.join(values + u[:2]) + ' =', ' ' * 7 + ''.join(u[2:])]

    def check(self):
        """The tensors obey the site symmetry, and the cell holds Z formula units."""
        for a in self.atoms:
            for m, tie in enumerate(a['site'].ties if a['u'] else []):
                target = 0.0 if tie and tie[0] is None else tie[1] * a['u'][tie[0]] if tie else a['u'][m]
                assert abs(a['u'][m] - target) < 3e-4, (a['label'], m, a['u'])
        total = self.contents()
        for element, n in self.spec['formula'].items():
            have, want = total.get(element, 0.0), n * self.spec['z']
            assert abs(have - want) < 0.01, (element, have, want)

    def contents(self):
        total = {}
        for a in self.atoms:
            total[a['element']] = total.get(a['element'], 0.0) + self.sof(a) * len(self.ops)
        return total

    def lines(self, atoms, notes, after=()):
        spec = self.spec
        body, part, afix = [], 0, 0
        for a in atoms:
            if a.get('part', 0) != part:
                part = a.get('part', 0)
                body.append('PART %d' % part)
            if a.get('afix', 0) != afix:
                afix = a.get('afix', 0)
                body.append('AFIX %s' % afix)
            body += self.atom_line(a)
        if afix:
            body.append('AFIX 0')
        if part:
            body.append('PART 0')
        z = spec['z']
        out = ['TITL ' + spec['title']] + remarks(spec['source'] + notes)
        out.append('CELL %.5f ' % spec['wavelength'] + ' '.join('%.5g' % v if v >= 100 else '%.4f' % v
                                                               for v, _ in self.cell_su[:3])
                   + ''.join(' %.3f' % v for v, _ in self.cell_su[3:]))
        out.append('ZERR %d' % z + ''.join(' %.4f' % su for _, su in self.cell_su[:3])
                   + ''.join(' %.3f' % su for _, su in self.cell_su[3:]))
        out.append('LATT %d' % self.latt)
        out += ['SYMM ' + text(op) for op in self.symm]
        out.append('SFAC ' + spec['sfac'])
        out += spec.get('disp', [])
        out.append('UNIT ' + ' '.join('%g' % round(spec['formula'][e] * z, 3) for e in spec['sfac'].split()))
        if 'temp' in spec:
            out.append('TEMP %g' % spec['temp'])
        out += ['L.S. 10', 'BOND', 'FMAP 2', 'PLAN %d' % spec.get('plan', 20)] + spec.get('extra', [])
        out.append('WGHT ' + spec.get('wght', '0.1'))
        for i in range(0, len(self.fvar), 7):
            out.append('FVAR ' + ''.join('%10.5f' % v for v in self.fvar[i:i + 7]))
        return out + body + ['HKLF 4', 'END'] + list(after)


def simulated(structure, outpath):
    """Writes the .hkl file and gives the remark that says how it was made; sets the scale of the model."""
    import reflections as r
    spec = structure.spec['simulate']
    model = r.Model(structure.cell, structure.ops, [dict(a, sof=structure.sof(a)) for a in structure.atoms],
                    structure.spec['wavelength'])
    data, k, mean = r.simulate(model, spec['resolution'], spec['seed'])
    write_hkl(outpath, data)
    structure.fvar[0] = math.sqrt(k)
    r1, strong, r_all, n = r.agreement(model, data, k)
    note = ('Reflections: not measured but simulated. %s.hkl holds k F^2 of this model (independent atoms, '
            "scattering factors of Int. Tables C, f' and f'' after Cromer and Liberman), two measurements of each "
            'unique reflection to %.2f A, plus normal noise with sigma^2 of (0.02 I)^2 + 0.002 M I + (0.02 M)^2, '
            'where I is the noise-free intensity and M (%.2f) its mean; k is %g, random seed %d. '
            'R1 of this model against the merged data: %.4f for %d with Fo above 4 sigma(Fo), %.4f for all %d.'
            % (outpath.stem, spec['resolution'], mean, k, spec['seed'], r1, strong, r_all, n))
    return note, data, model


def write_hkl(path, data):
    rows = ['%4d%4d%4d%8.2f%8.2f' % (*h, i, s) for h, i, s in data]
    assert all(len(row) == 28 for row in rows)
    path.write_text('\n'.join(rows + ['%4d%4d%4d%8.2f%8.2f' % (0, 0, 0, 0, 0)]) + '\n')


def start_file(structure, model, data, out):
    """The same structure before it is finished: the named atoms, and the peaks of a difference map for the rest."""
    import reflections as r
    start = structure.spec['start']
    known = [a for a in structure.atoms if a['label'] in start['known']]
    partial = r.Model(structure.cell, structure.ops, [dict(a, sof=structure.sof(a)) for a in known],
                      structure.spec['wavelength'])
    grid, size, osf = r.difference_map(partial, data)
    rows, left = [], [a for a in structure.atoms if a not in known and a['element'] != 'H']
    found = r.peaks(grid, size, structure.cell, structure.ops, start['peaks'])
    found = r.gather(found, [a['xyz'] for a in known], structure.cell, structure.ops)
    for n, (height, xyz) in enumerate(found, 1):
        rows.append('Q%-3d  1 ' % n + ''.join('%9.4f' % v for v in xyz) + '  11.00000  0.05 %7.2f' % height)
        for a in left:
            d = min(structure.cell.length([p - q - round(p - q) for p, q in zip(apply(op, xyz), a['xyz'])])
                    for op in structure.ops)
            if d < 0.4:
                print('  Q%d %.2f e: %s, %.2f A' % (n, height, a['label'], d))
    structure.fvar = [osf]
    structure.spec = dict(structure.spec, **start['spec'])
    notes = start['notes'] + ['Peaks: the %d highest maxima, one of each set of equivalents, of the map of '
                              '(Fo - Fc) exp(i phi)/V over all data in %s.hkl, phases phi from the %d atoms given, Fo on the '
                              'least-squares scale; heights in e per cubic A.' % (len(rows), start['name'], len(known))]
    write_res(out / (start['name'] + '.res'), structure.lines(known, notes, rows))


def write_res(path, lines):
    assert all(len(line) <= 79 and line.isascii() for line in lines), [v for v in lines if len(v) > 79]
    path.write_text('\n'.join(lines) + '\n')


def main(data, out, *names):
    data, out = pathlib.Path(data), pathlib.Path(out)
    for name, spec in EXAMPLES.items():
        if names and name not in names:
            continue
        s = Structure(spec, data)
        s.check()
        assert s.latt == spec['latt'], s.latt
        print(name, 'LATT', s.latt, 'SYMM', len(s.symm), 'atoms', len(s.atoms))
        notes = list(spec['notes'])
        hkl_name = spec['start']['name'] if 'start' in spec else name
        if 'simulate' in spec:
            note, measured, model = simulated(s, out / (hkl_name + '.hkl'))
            notes.append(note)
        if 'measured' in spec:
            write_hkl(out / (name + '.hkl'), spec['measured'](s))
        write_res(out / (name + '.res'), s.lines(s.atoms, notes))
        if 'start' in spec:
            start_file(s, model, measured, out)


if __name__ == '__main__':
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
