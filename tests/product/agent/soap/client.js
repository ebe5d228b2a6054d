// node client.js ENDPOINT EXPORTS: asks an agent all fourteen operations, knowing nothing but the
// service description that the agent gives. Ends with 1 and says why when an answer is another one.
// (The package takes the blanks around a text away.)
'use strict';
const assert = require('assert');
const soap = require('soap');

const [endpoint, exports_] = process.argv.slice(2);
const reference = 'ä "<&>"';

const calls = [
  ['test', {first: 1980.5, second: -722}, {accepted: true, answer: 1258.5}],
  ['UnregisterNotify', {}, {accepted: true}],
  ['sendServiceCmd', {command: -7}, {accepted: true, echo: -7}],
  ['sendSysConfigEvnt', {event: 12}, {accepted: true, answer: 0}],
  ['PatchSetNotify', {notification: '<patch id="1"/> ü'}, {accepted: true}],
  ['PostSetNotify', {}, {accepted: true}],
  ['sendQueueManagerAction', {action: 1}, {accepted: true, answer: 0}],
  ['getWholeMsg', {reference, target: 'm.eml', archived: false}, {accepted: true}],
  ['getWholeMsg_PE', {reference: 'late', target: exports_ + '/late.eml'}, {accepted: true}],
  ['getMsgHeader', {reference, reserved: false, archived: false},
    {accepted: true, header: 'Subject: Grüße <&>'}],
  ['getMsgHeader_PE', {reference: 'late', reserved: true}, {accepted: true, header: 'Subject: late'}],
  ['getEUQMsgDetail', {reference: 'none', archived: true, firstSize: 8192, secondSize: 512},
    {accepted: false, first: '', second: ''}],
  ['getEUQMsgDetail_PE', {reference: 'late', firstSize: 2, secondSize: 256},
    {accepted: true, first: 'te', second: ''}],
];
const page = {keyword: '<2>', fileName: '', mode: 1, pagesize: 2, pagecount: 0, totalcount: 0,
  pagenumber: 1, starttime: 0, endtime: 0, inode: 0, offset: 0, year: 0};

async function main() {
  const client = await soap.createClientAsync(endpoint + '/agent?wsdl');
  const ask = async (operation, args) => (await client[operation + 'Async'](args))[0];
  for (const [operation, args, wanted] of calls) {
    assert.deepStrictEqual(await ask(operation, args), wanted, operation);
  }
  const answer = await ask('getMTALog', page);
  assert.strictEqual(answer.events, 'Nov  2 10:00:00 gate a <2>');
  assert.deepStrictEqual([answer.accepted, answer.fileName, answer.pagecount, answer.totalcount],
    [true, 'maillog', 1, 1]);
  assert.ok(Number(answer.inode) > 0 && Number(answer.offset) === 54);
  await assert.rejects(ask('sendServiceCmd', {command: 'seven'}), /element command is no int/);
}

main().catch(error => {
  console.error(error.message);
  process.exit(1);
});
