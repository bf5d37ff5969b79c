"""Reads what the examples need from a database entry in CIF syntax."""
import math
import re


def tokens(text):
    """Yields (token, quoted); semicolon fields and quoted words come back as one token."""
    lines = iter(text.splitlines())
    for line in lines:
        if line.startswith(';'):
            field = [line[1:]]
            for more in lines:
                if more.startswith(';'):
                    break
                field.append(more)
            yield '\n'.join(field), True
            continue
        for m in re.finditer(r"'(.*?)'(?=\s|$)|\"(.*?)\"(?=\s|$)|(#.*)|(\S+)", line):
            if m.group(3) is None:
                quoted = m.group(4) is None
                yield (m.group(1) or m.group(2) or '' if quoted else m.group(4)), quoted


def number(text):
    """'4.488(2)' gives (4.488, 0.002); without an s.u. one unit in the last digit that is not a trailing zero."""
    m = re.match(r'([-+]?\d*\.?\d*)(?:\((\d+)\))?$', text)
    digits = m.group(1)
    if m.group(2) is None and '.' in digits:
        digits = digits.rstrip('0')
    unit = 10.0 ** -len(digits.split('.')[1]) if '.' in digits else 1.0
    return float(m.group(1)), (int(m.group(2)) if m.group(2) else 1) * unit


class Entry:
    def __init__(self, path):
        with open(path, encoding='latin-1') as f:
            stream = list(tokens(f.read()))
        self.values, self.columns = {}, {}
        i = 0
        while i < len(stream):
            word, quoted = stream[i]
            if not quoted and word.lower() == 'loop_':
                tags, i = [], i + 1
                while i < len(stream) and not stream[i][1] and stream[i][0].startswith('_'):
                    tags.append(stream[i][0].lower())
                    i += 1
                cells = []
                while i < len(stream) and (stream[i][1] or not re.match(r'_|loop_|data_', stream[i][0], re.I)):
                    cells.append(stream[i][0])
                    i += 1
                for c, tag in enumerate(tags):
                    self.columns[tag] = cells[c::len(tags)]
            elif not quoted and word.startswith('_') and i + 1 < len(stream):
                self.values[word.lower()] = stream[i + 1][0]
                i += 2
            else:
                i += 1

    def cell(self):
        """Six (value, s.u.) pairs; an angle of 90 or 120 degrees without an s.u. is exact."""
        names = ['length_a', 'length_b', 'length_c', 'angle_alpha', 'angle_beta', 'angle_gamma']
        out = []
        for name in names:
            text = self.values['_cell_' + name]
            value, su = number(text)
            exact = 'angle' in name and value in (90.0, 120.0) and '(' not in text
            out.append((value, 0.0 if exact else su))
        return out

    def operators(self):
        for tag in ('_symmetry_equiv_pos_as_xyz', '_space_group_symop_operation_xyz'):
            if tag in self.columns:
                return self.columns[tag]
        raise ValueError('no operators')

    def atoms(self):
        """Dicts with label, element, xyz, occupancy, uiso (or None), u (11 22 33 23 13 12, or None)."""
        col = self.columns

        def column(tag, default=None):
            return col.get('_atom_site_' + tag, [default] * len(col['_atom_site_label']))
        aniso = {}
        for k, label in enumerate(col.get('_atom_site_aniso_label', [])):
            aniso[label] = [number(col['_atom_site_aniso_u_' + c][k])[0] for c in ('11', '22', '33', '23', '13', '12')]
        biso = '_atom_site_b_iso_or_equiv' in col
        iso = column('b_iso_or_equiv' if biso else 'u_iso_or_equiv')
        out = []
        for k, label in enumerate(col['_atom_site_label']):
            u = number(iso[k])[0] if iso[k] not in (None, '.', '?') else None
            if u is not None and biso:
                u /= 8.0 * math.pi ** 2
            xyz = [number(column('fract_' + axis)[k])[0] for axis in 'xyz']
            element = column('type_symbol')[k] or re.match('[A-Z][a-z]?', label).group(0)
            occupancy = number(column('occupancy', '1')[k])[0]
            out.append(dict(label=label, element=element, xyz=xyz, occupancy=occupancy, uiso=u, u=aniso.get(label)))
        return out
