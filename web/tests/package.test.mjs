// The npm packages as other people get them: types, a bundle, each Node there is, sizes.
import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { cp, mkdtemp, readdir, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { before, test, after } from 'node:test';
import { promisify } from 'node:util';
import { gzipSync } from 'node:zlib';
import { root } from './bench.mjs';

const tools = join(root, 'web/tests/node_modules');
const compilers = ['typescript-5.4', 'typescript'];
const says = 'Muster; Dr.,Prof.; Muster true; ActionError action-failed; true; 1,2\n';
let folder;

/** Runs a program in the project's folder; what it says on failure is the failure. */
const run = (program, ...args) =>
  promisify(execFile)(program, args, { cwd: folder, maxBuffer: 1e7 }).then(({ stdout }) => stdout, (error) => {
    throw new Error(`${program} ${args.join(' ')}: ${error.stdout}${error.stderr}`);
  });
const compile = (compiler, options, ...files) =>
  run(process.execPath, join(tools, compiler, 'bin/tsc'), '--strict', '--target', 'es2022', '--lib', 'es2022,dom', ...options, ...files);

before(async () => {
  folder = await mkdtemp(join(tmpdir(), 'kv500-project-'));
  const made = (await promisify(execFile)(join(root, 'package.sh'), ['web'])).stdout.trim().split('\n');
  await writeFile(join(folder, 'package.json'), '{ "type": "module" }');
  await run('npm', 'install', '--offline', '--no-save', '--no-audit', '--no-fund', ...made.map((file) => join(root, file)));
  await cp(join(root, 'web/tests/project.ts'), join(folder, 'project.ts'));
});
after(() => rm(folder, { recursive: true, force: true }));

test('strict TypeScript projects, and what they say', { timeout: 120000 }, async () => {
  const options = [
    ['--module', 'nodenext', '--noUncheckedIndexedAccess', '--exactOptionalPropertyTypes'],
    ['--module', 'esnext', '--moduleResolution', 'bundler'],
  ];
  for (const [i, compiler] of compilers.entries()) {
    await compile(compiler, options[i], 'project.ts');
    assert.equal(await run(process.execPath, 'project.js'), says, compiler);
  }
});

test('a bundle with other names for everything', async () => {
  await run(join(tools, '.bin/esbuild'), 'project.ts', '--bundle', '--minify', '--platform=node', '--format=esm', '--outfile=bundle.js');
  assert.equal(await run(process.execPath, 'bundle.js'), says);
});

test('the declarations are those of the code, and the code has no finding', { timeout: 120000 }, async () => {
  const from = (file) => join(root, 'web', file);
  for (const compiler of compilers) {
    await compile(compiler, ['--module', 'nodenext', '--allowJs', '--checkJs', '--noEmit'], from('client/kv500.js'));
  }
  // The client under another name, so that its declarations are not taken in its place.
  await cp(from('client/kv500.js'), join(folder, 'code.js'));
  await cp(from('client/kv500.d.ts'), join(folder, 'kv500.d.ts'));
  await writeFile(join(folder, 'same.ts'), `import * as code from './code.js';
    import type * as declared from './kv500.d.ts';
    export const client: new (options?: declared.Options) => declared.KV500 = code.KV500;
    export const functions: Pick<typeof declared, 'stateOf' | 'parseRepeated'> = code;\n`);
  await compile('typescript', ['--module', 'nodenext', '--allowJs', '--noEmit', '--allowImportingTsExtensions'], 'same.ts');
  const declared = [...(await readFile(from('client/kv500.d.ts'), 'utf8')).matchAll(/^export (?:class|function) (\w+)/gm)].map(([, name]) => name);
  assert.deepEqual(Object.keys(await import('../client/kv500.js')).sort(), declared.sort());
  await compile('typescript', ['--module', 'nodenext', '--types', 'node', '--typeRoots', join(tools, '@types'), '--allowJs', '--checkJs',
    '--declaration', '--emitDeclarationOnly', '--outDir', 'made'], from('fake/fake.js'));
  assert.equal(await readFile(from('fake/fake.d.ts'), 'utf8'), await readFile(join(folder, 'made/fake.d.ts'), 'utf8'));
});

test('every Node there is', async (t) => {
  const names = (await readdir(tools)).filter((each) => each.startsWith('node-'));
  for (const program of [process.execPath, ...names.map((name) => join(tools, name, 'bin/node'))]) {
    assert.equal(await run(program, 'project.js'), says, program);
    const hostile = join(root, 'web/tests/hostile.test.mjs');
    await run(program, '--expose-gc', '--test', hostile);
    t.diagnostic((await run(program, '--version')).trim());
  }
});

test('sizes', async () => {
  const sizeOf = async (...files) => (await Promise.all(files.map((file) => readFile(join(root, 'web', file))))).map((bytes) => bytes.length).reduce((a, b) => a + b);
  const client = gzipSync(await readFile(join(root, 'web/client/kv500.js')), { level: 9 }).length;
  assert.ok(client < 6500, `client: ${client} bytes compressed`);
  assert.ok((await sizeOf('fake/fake.js', 'fake/card.js')) < 15000);
});
