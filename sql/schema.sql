-- Tables and views of the host database that the purchase-invoice module
-- works on, for SQLite and PostgreSQL alike, and the functions PostgreSQL
-- needs for the module's statements.
--
-- DatabaseSetup::engineSchemaScript turns this file into each engine's script:
--   * A type word written with a leading at-sign stands for the engine's type:
--       amount  numeric on SQLite, numeric(19,4) on PostgreSQL (exact either way)
--       date    text holding 'yyyy-MM-dd' on SQLite, date on PostgreSQL
--       bytes   blob on SQLite, bytea on PostgreSQL
--     Everything else (integer ids, text, defaults, keys) is written once in
--     SQL both engines accept.
--   * Lines between a comment line "@sqlite" or "@postgresql" and the comment
--     line "@end" are kept for that engine only.
-- Views use only functions SQLite knows by itself (coalesce, case), because
-- the module's own helper functions exist on SQLite only on the connections
-- that register them.

-- @postgresql
-- Functions of the module's SQL ---------------------------------------------

-- isnull(x, default): x, or default when x is null.
create function isnull(anycompatible, anycompatible) returns anycompatible
    language sql immutable as $$ select coalesce($1, $2) $$;

-- isnull(x): whether x is null, for tests such as iif(isnull(x)=true, a, b).
create function isnull(anyelement) returns boolean
    language sql immutable as $$ select $1 is null $$;

-- iif(condition, a, b): a when the condition holds, else b (also when it is null).
create function iif(boolean, anycompatible, anycompatible) returns anycompatible
    language sql immutable as $$ select case when $1 then $2 else $3 end $$;

create function year(date) returns integer
    language sql immutable as $$ select extract(year from $1)::integer $$;

create function month(date) returns integer
    language sql immutable as $$ select extract(month from $1)::integer $$;

create function day(date) returns integer
    language sql immutable as $$ select extract(day from $1)::integer $$;
-- @end

-- Purchase invoices --------------------------------------------------------

-- Invoice header, one row per bill. fSupplyId, fDeptId, fInvoiceNo and fNote
-- are the header fields that tblBillInfo lays out for bill kind 71.
create table tblFP (
    finterid        integer primary key,
    fbillno         text not null,
    fstatus         integer not null default 0,   -- 0 not audited, 1 audited
    fchecker        integer default 0,            -- tblUser.fuserid of the auditor, 0 when none
    fcancellation   integer not null default 0,   -- 0 valid, 1 void
    fyear           integer,
    fperiod         integer,
    fdate           @date,
    fOperator       integer,                      -- tblUser.fuserid of the maker
    ftrantype       integer,                      -- 71
    frob            integer default 0,            -- 0 blue, 1 red
    fAmount         @amount,
    fEndAmount      @amount,                      -- sum of the entries' fHXAmount
    fbillNumber     text,                         -- sequence part of fbillno
    fSupplyId       integer default 0,            -- tblItem.fitemid, class 4
    fDeptId         integer default 0,            -- tblItem.fitemid, class 2
    fInvoiceNo      text,                         -- the supplier's invoice number
    fNote           text
);
create unique index ux_tblFP_fbillno on tblFP(fbillno);
create index ix_tblFP_fdate on tblFP(fdate, fbillno, finterid);
create index ix_tblFP_fSupplyId on tblFP(fSupplyId);
-- The list's "本期": the bills of one accounting period in the list's order.
create index ix_tblFP_fyear_fperiod on tblFP(fyear, fperiod, fdate, fbillno, finterid);

-- Invoice entries: one stock bill matched by the invoice and the amount taken.
create table tblFPEntry (
    fInterId        integer not null,             -- tblFP.finterid
    fEntryId        integer not null,             -- line number within the bill
    fStockInterId   integer,                      -- icstockbill.finterid
    fHXAmount       @amount,
    primary key (fInterId, fEntryId)              -- also serves lookups by fInterId
);
create index ix_tblFPEntry_fStockInterId on tblFPEntry(fStockInterId);

-- Stock bills (stock-in bills are ftrantype 1) ------------------------------

create table icstockbill (
    finterid        integer primary key,
    fbillno         text,
    fdate           @date,
    fsupplyid       integer,                      -- tblItem.fitemid, class 4
    ftrantype       integer,
    fcancellation   integer not null default 0,
    fAllAmount      @amount,                      -- bill total, negative on red bills
    fKPAmount       @amount,                      -- amount invoiced so far
    fISKP           integer                       -- 1 or null: may be invoiced
);
create index ix_icstockbill_fsupplyid on icstockbill(fsupplyid, fdate);
-- The open stock-in bills alone, for the editor's list of what a supplier's
-- invoice may still take (its query repeats this condition) and the report
-- of what is received but not invoiced. It carries every column those read
-- and test, so that both are answered from the index alone, a supplier's
-- bills in date, number, id order without a sort.
create index ix_icstockbill_open on icstockbill(fsupplyid, fdate, fbillno, finterid, fAllAmount, fKPAmount, fISKP, ftrantype, fcancellation)
    where ftrantype=1 and fcancellation=0 and coalesce(fAllAmount,0)<>coalesce(fKPAmount,0);

-- Numbering and counters ----------------------------------------------------

create table tblMaxBillNo (
    ftypeid         integer primary key,
    fNewBillName    text,
    fbillno         integer not null default 0,   -- last sequence used
    fPreLetter      text,                         -- template: 年 月 日 序号 are replaced
    flength         integer,                      -- digits of the sequence
    fYLength        integer                       -- digits of the year
);

-- Sequence numbers released by deleted bills.
create table tblBillNoAdd (
    finterid        text,
    ftypeid         integer
);
create index ix_tblBillNoAdd on tblBillNoAdd(ftypeid, finterid);

create table tblmaxNum (
    ftablename      text primary key,
    fmaxnum         integer not null default 0
);

-- System, periods, users ----------------------------------------------------

create table tblSystemInfo (
    ftypeid         integer primary key,          -- 4 current year, 5 current period
    fname           text,
    fvalue          text
);

create table tblPeriod (
    fYear           integer not null,
    fPeriod         integer not null,
    fstartdate      @date,
    primary key (fYear, fPeriod)
);

create table tblUser (
    fuserid         integer primary key,
    fname           text not null,
    fisadmin        integer not null default 0
);

create table tblUserPrivillenge (
    fuserid         integer not null,
    fNumber         text not null,                -- 'Q' and two digits
    primary key (fuserid, fNumber)
);

create table tblUserVisible (
    fUserid         integer,
    fFieldName      text,
    ftype           integer,                      -- 1, 2 editor; 3 list
    fbilltypeid     integer
);
create index ix_tblUserVisible on tblUserVisible(fUserid, fbilltypeid);

-- Master data ---------------------------------------------------------------

create table tblItemclass (
    fitemclassid    integer primary key,
    fname           text,
    fItemType       integer                       -- 0 goods, 1 other basic data
);

create table tblItem (
    fitemid         integer primary key,
    fnumber         text not null,
    fname           text,
    fitemclassid    integer not null,
    fisdetail       integer default 1,            -- 1 may be used on bills
    fislock         integer default 0             -- 0 or null: usable
);
create index ix_tblItem_class_number on tblItem(fitemclassid, fnumber);

create table tblsubtype (
    fitemclassid    integer,
    fitemid         integer,
    fnumber         text,
    fname           text,
    fmodel          text
);
create index ix_tblsubtype on tblsubtype(fitemclassid, fnumber);

-- Goods attributes; fitemid is the tblItem row (class 3) of the goods.
create table icitem (
    fitemid         integer primary key,
    fnumber         text,
    fname           text,
    fModel          text,
    fUnit           text,
    fInPrice        @amount,
    fOutPrice       @amount,
    fA              text,
    fB              text,
    fC              text,
    fD              @amount,
    fE              @amount,
    fF              @date,
    fG              @date,
    fH              integer,                      -- tblItem.fitemid of a linked code
    fZSPer          @amount,
    fZLPer          @amount
);

create table tblItemInput (
    fuserid         integer,
    fitemid         integer,
    fqty            @amount,
    fEntryId        integer
);
create index ix_tblItemInput on tblItemInput(fuserid, fEntryId);

create table tblMeasureUnit (
    fitemid         integer primary key,
    fname           text
);

create table tblTimeStock (
    fitemid         integer,
    funitid         integer,
    fstockid        integer,
    fqty            @amount,
    famount         @amount,
    fbatchno        text
);
create index ix_tblTimeStock_fitemid on tblTimeStock(fitemid);

-- Forms, queries and print configuration ------------------------------------

create table tblBillInfo (
    ftypeid         integer not null,
    findex          integer not null,
    fitemclassid    integer,
    fcaption        text,
    ftop            integer,
    fleft           integer,
    fwidth          integer,
    ftabindex       integer,
    fisvisible      integer,
    FFieldName      text,
    fFieldType      integer,                      -- 1 lookup of fitemclassid, 0 text
    fCanNull        integer,                      -- 0 required
    primary key (ftypeid, findex)
);

create table tblFindInfoEntry (
    ftypeid         integer not null,
    fentryid        integer not null,
    fFieldname      text,
    fTitleName      text,
    fAlign          integer,                      -- 0 left, 1 centre, 2 right
    fDataFormat     text,
    fIsMerge        integer,
    fIsSum          integer,
    primary key (ftypeid, fentryid)
);

create table tblFindInfoentry2 (
    ftypeid         integer not null,
    fentryid        integer not null,
    fTitlename      text,
    fFieldName      text,
    fNumType        integer,                      -- 1 number, 2 text, 3 date
    fItemclassid    integer,
    fNumberName     text,
    primary key (ftypeid, fentryid)
);

create table tblFindSeek (
    fuserid         integer,
    ftypeid         integer,
    fsql            text
);
create index ix_tblFindSeek on tblFindSeek(fuserid, ftypeid);

create table tblProject (
    finterid        integer primary key,
    fname           text,
    ftype           integer,
    fUserid         integer
);

create table tblprojectEntry (
    finterid        integer,
    ftype           integer,
    fline           integer,
    f1col           text,
    f2col           text,
    f3col           text,
    f4col           text,
    f5col           text,
    f6col           text,
    f7col           text,
    f8col           text,
    f9col           text,
    f10col          text
);
create index ix_tblprojectEntry on tblprojectEntry(finterid, fline);

create table tblViewDesc (
    fTypeid         integer,
    fFieldName      text,
    fFieldDesc      text
);
create index ix_tblViewDesc on tblViewDesc(fTypeid);

create table tblBillPrint (
    finterid        integer primary key,
    ftypeid         integer,
    fReportName     text,
    fViewName       text,
    fFileName       text,
    fOrderSQL       text,
    fIsDefault      integer,                      -- 1 or null: the default template
    fcontent        @bytes
);
create index ix_tblBillPrint_ftypeid on tblBillPrint(ftypeid);

create table t_GS_tableinfo (
    ftablename      text,
    fwidth          integer,
    fsequence       integer,
    ftype           integer
);
create index ix_t_GS_tableinfo on t_GS_tableinfo(ftablename, ftype);

-- Views ---------------------------------------------------------------------

-- Goods: the class-3 codes of tblItem with their attributes, also when a
-- code has no icitem row yet.
create view vICItem as
select t.fitemid as fitemid,
       t.fnumber as fNumber,
       t.fname as fname,
       i.fModel as fmodel,
       i.fInPrice as fInPrice,
       i.fOutPrice as fOutPrice,
       coalesce(t.fislock, 0) as fislock
from tblItem as t
left join icitem as i on i.fitemid = t.fitemid
where t.fitemclassid = 3;

-- The bill view: one row per invoice, the header's lookup fields with their
-- code number and name, the names of maker and auditor, and the amount not
-- yet matched against stock bills.
create view vPurFP as
select a.finterid as finterid,
       a.fbillno as fbillno,
       a.fstatus as fstatus,
       a.fchecker as fchecker,
       a.fcancellation as fcancellation,
       a.fyear as fyear,
       a.fperiod as fperiod,
       a.fdate as fdate,
       a.fOperator as fOperator,
       a.ftrantype as ftrantype,
       a.frob as frob,
       a.fAmount as fAmount,
       a.fEndAmount as fEndAmount,
       a.fbillNumber as fbillNumber,
       a.fSupplyId as fSupplyId,
       a.fDeptId as fDeptId,
       a.fInvoiceNo as fInvoiceNo,
       a.fNote as fNote,
       s.fnumber as fSupplyIdNumber,
       s.fname as fSupplyIdName,
       d.fnumber as fDeptIdNumber,
       d.fname as fDeptIdName,
       o.fname as fOperatorName,
       c.fname as fCheckerName,
       round(coalesce(a.fAmount, 0) - coalesce(a.fEndAmount, 0), 4) as fNoHXAmount
from tblFP as a
left join tblItem as s on s.fitemid = a.fSupplyId
left join tblItem as d on d.fitemid = a.fDeptId
left join tblUser as o on o.fuserid = a.fOperator
left join tblUser as c on c.fuserid = a.fchecker;

-- Rows of the printed invoice: one per entry with its stock bill (an invoice
-- without entries gives one row with empty entry fields, so its header still
-- prints). forderid is the entry's line number.
create view vPurFPPrint as
select a.finterid as finterid,
       coalesce(e.fEntryId, 0) as forderid,
       a.fbillno as fbillno,
       a.fbillNumber as fbillNumber,
       a.fdate as fdate,
       a.fstatus as fstatus,
       a.fcancellation as fcancellation,
       a.frob as frob,
       a.fAmount as fAmount,
       a.fEndAmount as fEndAmount,
       a.fInvoiceNo as fInvoiceNo,
       a.fNote as fNote,
       s.fnumber as fSupplyIdNumber,
       s.fname as fSupplyIdName,
       d.fnumber as fDeptIdNumber,
       d.fname as fDeptIdName,
       o.fname as fOperatorName,
       c.fname as fCheckerName,
       e.fStockInterId as fStockInterId,
       b.fbillno as fStockBillNo,
       b.fdate as fStockDate,
       b.fAllAmount as fAllAmount,
       e.fHXAmount as fHXAmount
from tblFP as a
left join tblFPEntry as e on e.fInterId = a.finterid
left join icstockbill as b on b.finterid = e.fStockInterId
left join tblItem as s on s.fitemid = a.fSupplyId
left join tblItem as d on d.fitemid = a.fDeptId
left join tblUser as o on o.fuserid = a.fOperator
left join tblUser as c on c.fuserid = a.fchecker;
