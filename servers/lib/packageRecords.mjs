// Reads the records of this machine's Debian packages as documents.
import { readdirSync, readFileSync } from 'node:fs';
import path from 'node:path';

const dpkg = '/var/lib/dpkg';

// A record's fields by lower-case name; a continuation line starts with a space.
function fieldsOf(record) {
  const fields = {};
  let current = null;
  for (const line of record.split('\n')) {
    if (line.startsWith(' ') || line.startsWith('\t')) {
      fields[current] += `\n${line === ' .' ? '' : line.slice(1)}`;
      continue;
    }
    const colon = line.indexOf(':');
    current = line.slice(0, colon).toLowerCase();
    fields[current] = line.slice(colon + 1).trim();
  }
  return fields;
}

// "libc6 (>= 2.34), a | b" names libc6, a and b.
function packageNames(relation = '') {
  const names = relation.split(/[,|]/).map((part) => part.trim().split(/[ (:]/)[0]);
  return [...new Set(names.filter(Boolean))];
}

function withoutEmpty(doc) {
  return Object.fromEntries(Object.entries(doc).filter(([, value]) => value !== undefined && value !== ''));
}

function packageDocument(fields, files) {
  const [summary, ...rest] = (fields.description ?? '').split('\n');
  return withoutEmpty({
    _id: fields.package,
    type: 'package',
    name: fields.package,
    version: fields.version,
    architecture: fields.architecture,
    section: fields.section,
    priority: fields.priority,
    essential: fields.essential === 'yes',
    maintainer: fields.maintainer,
    homepage: fields.homepage,
    source: fields.source,
    summary,
    description: rest.join('\n').trim(),
    installedSizeKiB: Number(fields['installed-size'] ?? 0),
    fileCount: files.length,
    depends: packageNames(fields.depends),
    recommends: packageNames(fields.recommends),
    provides: packageNames(fields.provides),
  });
}

function filesOf(fields, lists) {
  const list = lists.get(fields.package) ?? lists.get(`${fields.package}:${fields.architecture}`);
  if (list === undefined) return [];
  return readFileSync(list, 'utf8').split('\n').filter((line) => line !== '' && line !== '/.');
}

function fileLists() {
  const folder = path.join(dpkg, 'info');
  const names = readdirSync(folder).filter((name) => name.endsWith('.list'));
  return new Map(names.map((name) => [name.slice(0, -'.list'.length), path.join(folder, name)]));
}

// The id is the path: full of slashes, and now and then with signs that must be escaped.
function fileDocument(file, owner) {
  return {
    _id: file,
    type: 'file',
    path: file,
    name: path.basename(file),
    folder: path.dirname(file),
    extension: path.extname(file).slice(1),
    depth: file.split('/').length - 1,
    package: owner.name,
    section: owner.section ?? '',
  };
}

// One document for each installed package and, up to maxFiles, for each path that the packages own.
export function readPackageDocuments(maxFiles = 0) {
  const lists = fileLists();
  const docs = new Map();
  const files = new Map();
  for (const record of readFileSync(path.join(dpkg, 'status'), 'utf8').split('\n\n')) {
    if (!record.trim()) continue;
    const fields = fieldsOf(record.trim());
    if (!fields.status?.endsWith(' installed')) continue;
    const owned = filesOf(fields, lists);
    const doc = packageDocument(fields, owned);
    if (docs.has(doc._id)) doc._id = `${doc._id}:${fields.architecture}`;
    docs.set(doc._id, doc);
    for (const file of owned) {
      if (files.size >= maxFiles) break;
      if (!files.has(file)) files.set(file, fileDocument(file, doc));
    }
  }
  return [...docs.values(), ...files.values()];
}
